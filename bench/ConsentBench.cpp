// What storing a consent event costs, beside the bare library call on the same bytes.

#include "Host.h"
#include "Measure.h"
#include "RawStore.h"
#include "Sink.h"
#include "consent/ConsentKeys.h"
#include "consent/VMRConsentDataManager.h"
#include "facade/Velmora.h"
#include "platform/Preferences.h"
#include "support/TemporaryFolder.h"

#include <cstdio>
#include <string>

namespace {

using namespace vmr;

Dictionary changeTo(int number) {
    return {{std::string(NSKeyValueChangeNewKey), Value::string(bench::consentString(number))},
            {std::string(NSKeyValueChangeOldKey), Value::null()}};
}

std::string storedBlob() {
    return std::string(
        platform().preferences->objectForKey(DeviceDataConsentEvents).asData()->bytes());
}

void compareStoring(const bench::Host &host, bench::RawStore &raw, int stored, double allowed,
                    int rounds) {
    int number = 100000;
    std::string before;
    std::string after;
    const auto storeOne = [&] {
        // The list keeps its length, so that every round writes as many bytes.
        host.storeEvents(stored);
        // So that no background sync of megabytes runs into the time.
        if (stored > 0)
            platform().preferences->synchronize();
        before = storedBlob();
        const Dictionary change = changeTo(++number);
        const double time = bench::timed([&] {
            host.velmora->storeEventWithConsentStringChange(change,
                                                            host.velmora->consentDataManager());
        });
        after = storedBlob();
        return time;
    };
    const auto bare = [&] {
        // The same two blobs in the same order: SQLite skips pages that stay the same.
        raw.commit(DeviceDataConsentEvents, before);
        // Starts the log anew, which costs a sync, outside the time: the raw limit is a commit over
        // space that is there already.
        raw.checkpoint();
        raw.commit("first after the log was moved", bench::consentString(++number));
        return bench::timed([&] { raw.commit(DeviceDataConsentEvents, after); });
    };
    bench::compare("store an event, " + std::to_string(stored) + " stored | SQLite commit", allowed,
                   rounds, storeOne, bare);
}

} // namespace

int main() {
    bench::Sink sink;
    const bench::Host host(sink.address());
    const vmr::test::TemporaryFolder folder;
    bench::RawStore raw(folder.file("raw.sqlite"));

    std::printf("%-58s %12s %12s   ratio of pairs\n", "product | bare call, medians", "product",
                "bare");
    compareStoring(host, raw, 0, 2.0, 201);
    compareStoring(host, raw, 1000, 1.5, 41);
    compareStoring(host, raw, 10000, 1.5, 15);
    return 0;
}
