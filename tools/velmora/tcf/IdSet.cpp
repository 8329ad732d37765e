#include "tcf/IdSet.h"

#include <algorithm>

namespace velmora::tcf {

IdSet::IdSet(std::vector<IdRange> ranges) : ranges_(std::move(ranges)) {
    for (IdRange &range : ranges_)
        range.first = std::max<std::uint16_t>(range.first, 1);
    std::erase_if(ranges_, [](const IdRange &range) { return range.last < range.first; });
    const auto isBefore = [](const IdRange &a, const IdRange &b) { return a.first < b.first; };
    if (!std::is_sorted(ranges_.begin(), ranges_.end(), isBefore))
        std::sort(ranges_.begin(), ranges_.end(), isBefore);

    std::size_t kept = 0;
    for (std::size_t i = 1; i < ranges_.size(); ++i) {
        IdRange &last = ranges_[kept];
        if (ranges_[i].first <= last.last + 1)
            last.last = std::max(last.last, ranges_[i].last);
        else
            ranges_[++kept] = ranges_[i];
    }
    if (!ranges_.empty())
        ranges_.resize(kept + 1);
}

std::size_t IdSet::count() const {
    std::size_t count = 0;
    for (const IdRange &range : ranges_)
        count += range.last - range.first + 1U;
    return count;
}

bool IdSet::contains(unsigned id) const {
    const auto after =
        std::upper_bound(ranges_.begin(), ranges_.end(), id,
                         [](unsigned each, const IdRange &range) { return each < range.first; });
    return after != ranges_.begin() && id <= std::prev(after)->last;
}

IdSet IdSet::without(const IdSet &other) const {
    std::vector<IdRange> left;
    auto removed = other.ranges_.begin();
    for (const IdRange &range : ranges_) {
        unsigned next = range.first;
        while (removed != other.ranges_.end() && removed->last < next)
            ++removed;
        for (auto each = removed; each != other.ranges_.end() && each->first <= range.last;
             ++each) {
            if (next < each->first)
                left.push_back({static_cast<std::uint16_t>(next),
                                static_cast<std::uint16_t>(each->first - 1)});
            next = each->last + 1U;
        }
        if (next <= range.last)
            left.push_back({static_cast<std::uint16_t>(next), range.last});
    }
    return IdSet(std::move(left));
}

} // namespace velmora::tcf
