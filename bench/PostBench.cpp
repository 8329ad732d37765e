// What a post costs: its time and the main thread's part of it, beside the bare library calls on
// the same bytes in the same run; and memory, in a process of its own.

#include "Host.h"
#include "Measure.h"
#include "RawPost.h"
#include "Sink.h"
#include "consent/VMRConsentDataManager.h"
#include "device/Keys.h"
#include "device/VMRDeviceDataManager.h"
#include "errors/VMRApiSerializableData.h"
#include "facade/Velmora.h"
#include "platform/JSON.h"
#include "platform/Preferences.h"
#include "support/Gzip.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace vmr;

std::string jsonBody(const bench::Host &host) {
    const auto events = host.velmora->consentDataManager()->storedConsentEvents();
    const auto device = host.velmora->deviceDataManager();
    const VMRApiSerializableData payload({events.begin(), events.end()},
                                         device->identifierForDataHashID());
    Dictionary body = device->postConsentsDataParametersAtDate(Date{1700000000});
    body.emplace("batch", Value::list(payload.serializedData()));
    return writeJSON(Value::dictionary(body), JSONStyle::compact);
}

void comparePost(const bench::Host &host, bench::Sink &sink, int events, int rounds) {
    host.storeEvents(events);
    const std::string json = jsonBody(host);
    bench::RawPost raw(sink.address());
    std::vector<double> shares;
    std::vector<double> onMainThread;
    bench::compare(
        "trigger to last byte received, " + std::to_string(events) + " | gzip + POST", 1.3, rounds,
        [&] {
            host.storeEvents(events);
            const double begin = bench::now();
            const double processorBegin = bench::threadMilliseconds();
            host.velmora->performConsentDataPostRequest();
            host.settle();
            const double whole = sink.lastBodyAt() - begin;
            onMainThread.push_back(bench::threadMilliseconds() - processorBegin);
            shares.push_back(onMainThread.back() / whole);
            return whole;
        },
        [&] {
            const double begin = bench::now();
            raw.post(test::gzip(json));
            return sink.lastBodyAt() - begin;
        });
    std::printf("  the main thread's processor time: %.3f ms, with the answer's handling\n",
                bench::median(onMainThread));
    bench::printRatio("  its share of the whole", bench::median(shares), 0.15);
    std::printf("  (%zu bytes in one request)\n", sink.lastBodySize());
}

void measureMemory(const std::string &address, int events) {
    const bench::Host host(address);
    const auto post = [&host](int count) {
        host.storeEvents(count);
        host.velmora->performConsentDataPostRequest();
        host.settle();
    };
    post(1); // what the first request opens stays open
    const double before = bench::residentBytes();
    host.storeEvents(events);
    const double waiting = bench::residentBytes() - before;
    bench::forgetPeak();
    host.velmora->performConsentDataPostRequest();
    host.settle();
    const double peak = bench::peakBytes() - before;
    host.storeEvents(events);
    const auto archived = static_cast<double>(
        platform().preferences->objectForKey(DeviceDataConsentEvents).asData()->size());
    bench::printRatio("memory of " + std::to_string(events) + " waiting | archived bytes",
                      waiting / archived, 2);
    bench::printRatio("the same at the peak of their post", peak / archived, 3);
}

} // namespace

int main(int count, char **arguments) {
    if (count == 3) {
        measureMemory(arguments[1], std::atoi(arguments[2]));
        return 0;
    }
    bench::Sink sink;
    const bench::Host host(sink.address());
    std::printf("%-58s %12s %12s   ratio of pairs\n", "product | bare call, medians", "product",
                "bare");
    comparePost(host, sink, 100, 31);
    comparePost(host, sink, 1000, 15);
    comparePost(host, sink, 10000, 7);
    const pid_t process = fork();
    if (process == 0) {
        execl("/proc/self/exe", "velmora_post_bench", sink.address().c_str(), "10000", nullptr);
        _exit(127);
    }
    int status = 0;
    waitpid(process, &status, 0);
    return status == 0 ? 0 : 1;
}
