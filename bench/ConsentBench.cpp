// What a consent change costs the thread that sets it, with its event, however many events wait:
// time and bytes to the disk beside the bare commit of the same rows. With a number as argument it
// only makes changes with so many waiting, for a count of system calls.

#include "Host.h"
#include "Measure.h"
#include "RawStore.h"
#include "Sink.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "support/TemporaryFolder.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace vmr;

constexpr const char *consentKey = "IABTCF_TCString";

/// What one side took, round by round.
struct Side {
    void run(const std::function<void()> &work) {
        const double before = bench::writtenBytes();
        times.push_back(bench::timed(work) * 1e3);
        bytes.push_back(bench::writtenBytes() - before);
    }
    std::vector<double> times;
    std::vector<double> bytes;
};

/// The store at rest: nothing of the background runs into the time, and the log has space already.
void settle() {
    platform().preferences->synchronize();
    for (int change = 0; change < 50; ++change)
        platform().preferences->setObject(Value::string(bench::consentString(change)), consentKey);
}

double compareChange(const bench::Host &host, int waiting) {
    constexpr int rounds = 301;
    int number = 100'000;
    const vmr::test::TemporaryFolder folder;
    bench::RawStore raw(folder.file("raw.sqlite"));
    const auto commit = [&raw, &number] { raw.commit(bench::consentString(++number)); };
    for (int event = 0; event < waiting; ++event)
        commit();
    raw.checkpoint();
    for (int event = 0; event < 50; ++event)
        commit();

    host.storeEvents(waiting);
    settle();
    Side ours;
    Side bare;
    // In turn, so that the machine's moods meet both.
    for (int round = 0; round < rounds; ++round) {
        const std::string text = bench::consentString(++number);
        const Value string = Value::string(text);
        ours.run([&] { platform().preferences->setObject(string, consentKey); });
        bare.run([&] { raw.commit(text); });
    }
    const double time = bench::median(ours.times);
    const double bareTime = bench::median(bare.times);
    const double bytes = bench::median(ours.bytes);
    const double bareBytes = bench::median(bare.bytes);
    std::printf("%7d %12.1f %12.1f %8.2f %14.0f %12.0f %8.2f\n", waiting, time, bareTime,
                time / bareTime, bytes, bareBytes, bytes / bareBytes);
    std::fflush(stdout);
    return time;
}

void makeChanges(const bench::Host &host, int waiting) {
    host.storeEvents(waiting);
    settle();
    for (int change = 0; change < 1000; ++change)
        platform().preferences->setObject(Value::string(bench::consentString(change)), consentKey);
}

} // namespace

int main(int count, char **arguments) {
    bench::Sink sink;
    const bench::Host host(sink.address());
    if (count == 2) {
        makeChanges(host, std::atoi(arguments[1]));
        return 0;
    }
    std::printf("%7s %12s %12s %8s %14s %12s %8s\n", "waiting", "change, us", "bare, us", "ratio",
                "change, bytes", "bare, bytes", "ratio");
    double first = 0;
    double last = 0;
    for (const int waiting : {0, 100, 1000, 10'000, 100'000}) {
        last = compareChange(host, waiting);
        first = first == 0 ? last : first;
    }
    bench::printRatio("a change with 100,000 waiting | with none", last / first, 1.3);
    return 0;
}
