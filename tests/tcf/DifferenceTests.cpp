#include "tcf/Decoding.h"
#include "tcf/TCFEncoder.h"
#include "tcf/TCFText.h"

#include <gmock/gmock.h>

#include <random>
#include <set>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StrEq;
using namespace velmora::tcf;

std::set<unsigned> idsOf(const IdSet &ids) {
    std::set<unsigned> all;
    for (unsigned id = 1; id <= 70; ++id)
        if (ids.contains(id))
            all.insert(id);
    return all;
}

TEST(DifferenceTests, SetsBehaveLikeSets) {
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

TEST(DifferenceTests, SaysWhatWasGrantedAndWithdrawn) {
    Core before;
    before.purposes = {1, 2};
    before.interests = {7};
    before.vendors = Bits().vendorRanges(9, {{1, 9}});
    Core after = before;
    after.purposes = {2, 9};
    after.features = {1};
    after.interests = {};
    after.vendors = Bits().vendorRow({1, 4, 5, 12});
    after.country = "AT";
    after.restrictions = Bits().number(1, 12).number(7, 6).number(1, 2).entries({{2, 3}});
    const Difference found =
        difference(decoded(before.withDisclosedVendors()), decoded(after.withDisclosedVendors()));
    std::ostringstream text;
    writeJSON(text, found);
    EXPECT_EQ(
        json::parse(text.str()),
        json(
            {{"granted",
              {{"specialFeatureOptIns", {1}}, {"purposeConsents", {9}}, {"vendorConsents", {12}}}},
             {"withdrawn",
              {{"purposeConsents", {1}},
               {"purposeLegitimateInterests", {7}},
               {"vendorConsents", {2, 3, 6, 7, 8, 9}}}},
             {"changed",
              {{"publisherCountryCode", {"DE", "AT"}},
               {"publisherRestrictions", {"none", "purpose 7: consent required for vendors 2-3"}}}},
             {"comparesPurposes", true}}));
    EXPECT_THAT(inWords(found), HasSubstr("Withdrawn\n"
                                          "  consent, purpose      1 Store and/or access"));
}

TEST(DifferenceTests, OfTwoVersionsComparesTheVendorsAlone) {
    Core core;
    core.purposes = {1};
    core.vendors = Bits().vendorRow({9, 12});
    const Difference found =
        difference(decoded("BOEFEAyOEFEAyAHABDENAI4AAAB9vABAASA"), decoded(core.text()));
    EXPECT_FALSE(found.comparesPurposes);
    ASSERT_EQ(found.ids.size(), 1U);
    EXPECT_EQ(found.ids[0].granted, IdSet({{9, 9}}));
    EXPECT_EQ(found.ids[0].withdrawn.count(), 2009U);
}

TEST(DifferenceTests, DatesAndSetsInWords) {
    EXPECT_THAT(dateInWords(0), StrEq("1970-01-01 00:00:00 UTC"));
    EXPECT_THAT(dateInWords(17'092'511'991), StrEq("2024-02-29 23:59:59.1 UTC"));
    EXPECT_THAT(dateInWords((1LL << 36) - 1), StrEq("2187-10-06 10:21:13.5 UTC"));
    EXPECT_THAT(inWords(IdSet({{4, 9}, {1, 1}, {10, 12}})), StrEq("1, 4-12"));
}

} // namespace
} // namespace vmr::test
