#include "tcf/TCFString.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace vmr::test {
namespace {

using namespace velmora::tcf;

std::set<unsigned> idsOf(const IdSet &ids) {
    std::set<unsigned> all;
    for (unsigned id = 1; id <= 70; ++id)
        if (ids.contains(id))
            all.insert(id);
    return all;
}

TEST(IdSets, BehaveLikeSets) {
    std::mt19937 random(1);
    const auto number = [&](unsigned most) { return static_cast<std::uint16_t>(random() % most); };
    for (int round = 0; round < 500; ++round) {
        IdSet sets[2];
        std::set<unsigned> expected[2];
        for (int side = 0; side < 2; ++side) {
            std::vector<IdRange> ranges(number(8));
            for (IdRange &range : ranges) {
                range = {number(60), number(70)};
                for (unsigned id = std::max<unsigned>(range.first, 1); id <= range.last; ++id)
                    expected[side].insert(id);
            }
            sets[side] = IdSet(ranges);
            EXPECT_EQ(idsOf(sets[side]), expected[side]);
            EXPECT_EQ(sets[side].count(), expected[side].size());
            const auto &kept = sets[side].ranges();
            for (std::size_t i = 1; i < kept.size(); ++i)
                EXPECT_GT(kept[i].first, kept[i - 1].last + 1);
        }
        for (const unsigned id : expected[1])
            expected[0].erase(id);
        EXPECT_EQ(idsOf(sets[0].without(sets[1])), expected[0]);
    }
    const IdSet all(std::vector<IdRange>{{1, 65535}});
    EXPECT_EQ(all.without(IdSet({{65535, 65535}})).ranges(), std::vector<IdRange>({{1, 65534}}));
    EXPECT_TRUE(all.without(all).empty());
}

/// What it costs is told by tests/fuzz for every string; here are some that only length makes.
TEST(ConsentStrings, AHostileOneCostsNoMoreThanItsLength) {
    std::string segments = "CQdWToAQdWToAAfKABENB-FgAAAAAAAAAAYgAAAAAAAA";
    for (int i = 0; i < 100'000; ++i)
        segments += ".4";
    EXPECT_EQ(std::get<TCFString>(decode(segments, 1'800'000'000)).problems.size(), 2U);
    const auto failure = decode("C" + std::string(1'000'000, '_'), 1'800'000'000);
    EXPECT_EQ(std::get<Failure>(failure).bit, 6'000'006U);
}

} // namespace
} // namespace vmr::test
