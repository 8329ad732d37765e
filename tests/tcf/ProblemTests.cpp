#include "tcf/Decoding.h"
#include "tcf/TCFEncoder.h"

#include <gmock/gmock.h>

#include <functional>

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> problemsOf(const std::string &text) {
    std::vector<std::string> texts;
    for (const velmora::tcf::Problem &problem : decoded(text).problems) {
        EXPECT_NE(problem.remedy, "") << problem.text;
        texts.push_back(problem.text);
    }
    return texts;
}

constexpr std::uint64_t october2023 = 19'631ULL * 864'000;

/// One thing is wrong in each, and nothing else is said.
TEST(ProblemTests, EachIsNamedAlone) {
    EXPECT_THAT(problemsOf(Core().withDisclosedVendors()), IsEmpty());
    struct Case {
        const char *says;
        std::function<void(Core &)> spoil;
    };
    const auto dated = [](std::uint64_t date, unsigned policyVersion) {
        return [=](Core &core) {
            core.created = core.lastUpdated = date;
            core.policyVersion = policyVersion;
        };
    };
    const Case cases[] = {
        {"not service-specific", [](Core &core) { core.isServiceSpecific = false; }},
        {"after September 2023 under policy version 3", dated(october2023, 3)},
        {nullptr, dated(october2023 - 1, 3)},
        {nullptr, dated(october2023, 4)},
        {"made in the future", dated((decodedAt / 86'400 + 1) * 864'000, 5)},
        {nullptr, dated(decodedAt / 86'400 * 864'000, 5)},
        {"differ", [](Core &core) { core.lastUpdated += 864'000; }},
        {"not rounded to the day", [](Core &core) { core.created = core.lastUpdated += 1; }},
        {"legitimate interest is claimed for purpose 1, 3-6,",
         [](Core &core) { core.interests = {1, 2, 3, 4, 5, 6, 7}; }},
        {nullptr, [](Core &core) { core.interests = {2, 7, 8, 9, 10, 11}; }},
        {"purpose 1,",
         [&](Core &core) {
             dated(october2023 - 1, 2)(core);
             core.interests = {1, 3, 4, 5, 6};
         }},
        {"ConsentLanguage", [](Core &core) { core.language = "E["; }},
        {"PublisherCC", [](Core &core) { core.country = "~A"; }},
        {"the type 3",
         [](Core &core) {
             core.restrictions = Bits().number(1, 12).number(2, 6).number(3, 2).entries({{5, 6}});
         }},
        {"purpose 25",
         [](Core &core) {
             core.restrictions = Bits().number(1, 12).number(25, 6).number(1, 2).entries({{5, 6}});
         }},
        {"restricted twice",
         [](Core &core) {
             core.restrictions = Bits().number(2, 12);
             core.restrictions.number(2, 6).number(1, 2).entries({{5, 6}});
             core.restrictions.number(2, 6).number(1, 2).entries({{8, 8}});
         }},
        {"vendor consents: 6 to 11 is above the maximum, 10",
         [](Core &core) {
             core.vendors = Bits().vendorRanges(10, {{6, 11}});
         }},
        {"interests: the range 7 to 2 descends",
         [](Core &core) {
             core.vendorInterests = Bits().vendorRanges(10, {{7, 2}});
         }},
        {"the range 3 to 5 overlaps",
         [](Core &core) {
             core.vendors = Bits().vendorRanges(10, {{1, 3}, {3, 5}});
         }},
        {"the range 2 overlaps the one before it or comes after",
         [](Core &core) {
             core.vendors = Bits().vendorRanges(10, {{6, 7}, {2, 2}});
         }},
        {"restrictions: the range 9 overlaps",
         [](Core &core) {
             core.restrictions =
                 Bits().number(1, 12).number(2, 6).number(1, 2).entries({{9, 9}, {9, 9}});
         }},
        {"no vendor 0",
         [](Core &core) {
             core.vendors = Bits().vendorRanges(10, {{0, 3}});
         }},
    };
    for (const Case &each : cases) {
        Core core;
        each.spoil(core);
        const auto problems = problemsOf(core.withDisclosedVendors());
        if (each.says == nullptr)
            EXPECT_THAT(problems, IsEmpty());
        else
            EXPECT_THAT(problems, ElementsAre(HasSubstr(each.says)));
    }
}

TEST(ProblemTests, OfSegmentsAndCharacters) {
    const std::string sound = Core().withDisclosedVendors();
    const std::string vendors = sound.substr(sound.find('.'));
    EXPECT_THAT(problemsOf(Core().text()), ElementsAre(HasSubstr("disclosed vendors is missing")));
    EXPECT_THAT(problemsOf(sound + vendors), ElementsAre(HasSubstr("2 segments of type 1")));
    EXPECT_THAT(problemsOf(sound + ".oA"), ElementsAre(HasSubstr("a segment of type 5")));
    EXPECT_THAT(problemsOf(sound + "B"),
                ElementsAre(HasSubstr("disclosed vendors segment: the bits behind")));
    EXPECT_THAT(problemsOf(Core().text() + "AAAAAB" + vendors),
                ElementsAre(HasSubstr("core: the bits behind")));
    EXPECT_THAT(problemsOf(Core().text() + "AAAAAA" + vendors), IsEmpty());
    EXPECT_THAT(problemsOf(sound + "=="), ElementsAre(HasSubstr("standard base64")));
    // The characters stand for the same bits.
    Core core;
    core.purposes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    core.vendors = Bits().vendorRanges(65535, {{65535, 65535}});
    std::string standard = core.withDisclosedVendors();
    ASSERT_NE(standard.find('_'), std::string::npos);
    std::replace(standard.begin(), standard.end(), '_', '/');
    std::replace(standard.begin(), standard.end(), '-', '+');
    EXPECT_THAT(problemsOf(standard), ElementsAre(HasSubstr("standard base64")));
    EXPECT_TRUE(decoded(standard).vendorConsents.contains(65535));

    EXPECT_THAT(
        problemsOf("BOEFEAyOEFEAyAHABDENAI4AAAB9vABAASA.YAAA"),
        ElementsAre(HasSubstr("version 1 has one segment"), HasSubstr("a string of version 1")));
}

} // namespace
} // namespace vmr::test
