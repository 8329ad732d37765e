#pragma once

#include "tcf/Segment.h"

#include <optional>

namespace velmora::tcf {

/// Reads lists of range entries and remembers what is wrong with them, once for each fault however
/// often it occurs.
class Ranges {
public:
    /// Ids end at `maximum`.
    explicit Ranges(unsigned maximum = 65535) : maximum_(maximum) {}

    /// NumEntries and the entries, as they stand.
    std::vector<IdRange> read(Segment &segment);
    /// `part`: "vendor consents".
    void report(std::string_view part, std::vector<Problem> &problems) const;

private:
    void check(const IdRange &range, const std::optional<IdRange> &previous);

    unsigned maximum_;
    /// The first of each fault.
    std::optional<IdRange> descending_;
    std::optional<IdRange> outOfOrder_;
    std::optional<IdRange> aboveMaximum_;
    bool hasZero_ = false;
};

/// MaxVendorId, then a bit for each vendor or ranges.
IdSet readVendors(Segment &segment, std::string_view part, std::vector<Problem> &problems);
/// The same of version 1, where a list of ranges may name the vendors without consent.
IdSet readVersion1Vendors(Segment &segment, std::vector<Problem> &problems);

} // namespace velmora::tcf
