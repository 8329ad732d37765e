// Decodes consent strings of the usual size and larger ones. With --strings it prints the strings
// instead, for another decoder to be timed on the same ones: bench/compare-tcf-decoders.

#include "Measure.h"
#include "TCFEncoder.h"
#include "tcf/TCFJSON.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <vector>

namespace {

using vmr::test::Bits;
using vmr::test::Core;

constexpr unsigned vendorCount = 1500;
constexpr double allowedMilliseconds = 1;

/// Every vendor but those whose number the divisor divides.
Bits::Ids vendorsBut(unsigned divisor) {
    Bits::Ids ids;
    for (unsigned id = 1; id <= vendorCount; ++id)
        if (id % divisor != 0 || id == vendorCount)
            ids.push_back(id);
    return ids;
}

Bits::Ranges pairsOfVendors() {
    Bits::Ranges ranges;
    for (unsigned id = 1; id <= vendorCount; id += 4)
        ranges.emplace_back(id, id + 1);
    return ranges;
}

struct Sample {
    const char *name;
    std::string text;
};

std::vector<Sample> samples() {
    Core row;
    row.purposes = {1, 2, 3, 4, 7, 9, 10};
    row.interests = {7, 9, 10};
    row.vendors = Bits().vendorRow(vendorsBut(3));
    row.vendorInterests = Bits().vendorRow(vendorsBut(5));
    Core ranges = row;
    ranges.vendors = Bits().vendorRanges(vendorCount, pairsOfVendors());
    ranges.vendorInterests = ranges.vendors;
    Core restricted = row;
    restricted.restrictions = Bits().number(5, 12);
    for (unsigned i = 0; i < 5; ++i)
        restricted.restrictions.number(i + 1, 6).number(1, 2).entries(pairsOfVendors());
    const std::string disclosed =
        "." + Bits().number(1, 3).vendorRow(vendorsBut(vendorCount + 1)).text();
    return {{"1,500 vendors, a bit each", row.text() + disclosed},
            {"1,500 vendors, 375 ranges", ranges.text() + disclosed},
            {"a bit each, 5 restrictions of 375 ranges", restricted.text() + disclosed}};
}

} // namespace

int main(int count, char **arguments) {
    if (count > 1 && std::strcmp(arguments[1], "--strings") == 0) {
        for (const Sample &sample : samples())
            std::printf("%s\n", sample.text.c_str());
        return 0;
    }
    std::printf("%-46s %10s %12s %14s\n", "consent string", "characters", "decode", "and as JSON");
    for (const Sample &sample : samples()) {
        constexpr std::int64_t now = 1'800'000'000;
        const double decoding = bench::median(201, [&] { velmora::tcf::decode(sample.text, now); });
        const double asJSON = bench::median(201, [&] {
            std::ostringstream out;
            writeJSON(out, velmora::tcf::decode(sample.text, now));
        });
        const bool isMissed = asJSON > allowedMilliseconds;
        std::printf("%-46s %10zu %9.3f ms %11.3f ms%s\n", sample.name, sample.text.size(), decoding,
                    asJSON, isMissed ? "  MISSED" : "");
    }
    return 0;
}
