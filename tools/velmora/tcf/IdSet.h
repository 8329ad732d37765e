#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora::tcf {

/// From the first id to the last, both included.
struct IdRange {
    std::uint16_t first = 0;
    std::uint16_t last = 0;
    bool operator==(const IdRange &) const = default;
};

/// Ids of vendors or purposes, from 1 on. Never expanded: what it costs, a text has paid for.
class IdSet {
public:
    IdSet() = default;
    /// Ranges in any order, which may overlap. One that descends holds nothing, nor does id 0.
    explicit IdSet(std::vector<IdRange> ranges);

    /// Ascending; no two overlap or touch.
    const std::vector<IdRange> &ranges() const { return ranges_; }
    bool empty() const { return ranges_.empty(); }
    std::size_t count() const;
    bool contains(unsigned id) const;
    IdSet without(const IdSet &other) const;

    bool operator==(const IdSet &) const = default;

private:
    std::vector<IdRange> ranges_;
};

} // namespace velmora::tcf
