#include "tcf/Ranges.h"

#include "tcf/Segments.h"

namespace velmora::tcf {
namespace {

constexpr unsigned bitsOfId = 16;
constexpr unsigned bitsOfCount = 12;

std::string textOf(const IdRange &range) {
    return range.first == range.last
               ? std::to_string(range.first)
               : std::to_string(range.first) + " to " + std::to_string(range.last);
}

std::uint16_t readId(Segment &segment, std::string_view field) {
    return static_cast<std::uint16_t>(segment.number(field, bitsOfId));
}

} // namespace

std::vector<IdRange> Ranges::read(Segment &segment) {
    const auto count = segment.number("NumEntries", bitsOfCount);
    std::vector<IdRange> ranges;
    std::optional<IdRange> previous;
    for (std::uint64_t i = 0; i < count; ++i) {
        const bool isRange = segment.flag("IsARange");
        IdRange range;
        range.first = readId(segment, isRange ? "StartVendorId" : "VendorId");
        range.last = isRange ? readId(segment, "EndVendorId") : range.first;
        check(range, previous);
        ranges.push_back(range);
        previous = range;
    }
    return ranges;
}

void Ranges::check(const IdRange &range, const std::optional<IdRange> &previous) {
    const auto note = [&range](std::optional<IdRange> &first) {
        if (!first)
            first = range;
    };
    hasZero_ = hasZero_ || range.first == 0;
    if (range.last < range.first)
        note(descending_);
    if (previous && range.first <= previous->last)
        note(outOfOrder_);
    if (range.last > maximum_ || range.first > maximum_)
        note(aboveMaximum_);
}

void Ranges::report(std::string_view part, std::vector<Problem> &problems) const {
    const std::string begin = std::string(part) + ": ";
    if (descending_)
        problems.push_back(
            {begin + "the range " + textOf(*descending_) + " descends and is taken to hold nobody",
             encoderRemedy});
    if (outOfOrder_)
        problems.push_back({begin + "the range " + textOf(*outOfOrder_) +
                                " overlaps the one before it or comes after a higher one",
                            encoderRemedy});
    if (aboveMaximum_)
        problems.push_back(
            {begin + textOf(*aboveMaximum_) + " is above the maximum, " + std::to_string(maximum_),
             encoderRemedy});
    if (hasZero_)
        problems.push_back({begin + "there is no vendor 0; ids begin with 1", encoderRemedy});
}

IdSet readVendors(Segment &segment, std::string_view part, std::vector<Problem> &problems) {
    segment.enter(part);
    const auto maximum = static_cast<unsigned>(segment.number("MaxVendorId", bitsOfId));
    if (!segment.flag("IsRangeEncoding"))
        return segment.row("BitField", maximum);
    Ranges ranges(maximum);
    IdSet vendors(ranges.read(segment));
    ranges.report(part, problems);
    return vendors;
}

IdSet readVersion1Vendors(Segment &segment, std::vector<Problem> &problems) {
    constexpr std::string_view part = "vendor consents";
    segment.enter(part);
    const std::uint16_t maximum = readId(segment, "MaxVendorId");
    if (!segment.flag("EncodingType"))
        return segment.row("BitField", maximum);
    const bool isConsentDefault = segment.flag("DefaultConsent");
    Ranges ranges(maximum);
    IdSet listed(ranges.read(segment));
    ranges.report(part, problems);
    return isConsentDefault ? IdSet({{1, maximum}}).without(listed) : listed;
}

} // namespace velmora::tcf
