#include "tcf/Decoding.h"
#include "tcf/TCFEncoder.h"

#include <gmock/gmock.h>

#include <numeric>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using namespace velmora::tcf;

/// Written down beside what the framework's own decoder says about them.
TEST(DecodeTests, RealStrings) {
    EXPECT_EQ(
        jsonText("CQSbk4AQSbk4ANwAAAENAwCgAAAAAAAAAAYgACPAAAAA.IDKQA4AAgAKAGQAygAAA.YAAAAAAAAAAA"),
        R"({"version":2,"created":1748908800.0,"lastUpdated":1748908800.0,"cmpId":880,)"
        R"("cmpVersion":0,"consentScreen":0,"consentLanguage":"EN","vendorListVersion":48,)"
        R"("policyVersion":2,"isServiceSpecific":true,"useNonStandardTexts":false,)"
        R"("specialFeatureOptIns":[],"purposeConsents":[],"purposeLegitimateInterests":[],)"
        R"("purposeOneTreatment":false,"publisherCountryCode":"DE","vendorConsents":[1,2,3,4],)"
        R"("vendorLegitimateInterests":[],"publisherRestrictions":[],)"
        R"("disclosedVendors":[1,2,3,4,5,100,404],"allowedVendors":null,)"
        R"("publisherPurposes":{"purposeConsents":[],"purposeLegitimateInterests":[],)"
        R"("customPurposeCount":0,"customPurposeConsents":[],)"
        R"("customPurposeLegitimateInterests":[]},)"
        R"("problems":["it was made after September 2023 under policy version 2, )"
        R"(so it counts as invalid"]})");
    const json alone = jsonOf("COwxsONOwxsONKpAAAENAdCAAMAAAAAAAAAAAAAAAAAA");
    EXPECT_EQ(alone["created"], 1585071809.3);
    EXPECT_EQ(alone["purposeConsents"], json({1, 2}));
    EXPECT_TRUE(alone["disclosedVendors"].is_null() && alone["publisherPurposes"].is_null());
    const json publisher = jsonOf("CO5VTlWO5VTlWH1AAAENAwCwAIAAAAAAAIAAAAoAAAAA.YAAAAAAAAAA");
    EXPECT_EQ(publisher["purposeOneTreatment"], true);
    EXPECT_EQ(publisher["useNonStandardTexts"], true);

    const json old = jsonOf("BOEFEAyOEFEAyAHABDENAI4AAAB9vABAASA");
    json vendors = json::array();
    for (int id = 1; id <= 2011; ++id)
        if (id != 9)
            vendors.push_back(id);
    EXPECT_EQ(old, json({{"version", 1},
                         {"created", 1510082155.4},
                         {"lastUpdated", 1510082155.4},
                         {"cmpId", 7},
                         {"cmpVersion", 1},
                         {"consentScreen", 3},
                         {"consentLanguage", "EN"},
                         {"vendorListVersion", 8},
                         {"purposesAllowed", {1, 2, 3}},
                         {"vendorConsents", vendors},
                         {"problems", old["problems"]}}));
}

TEST(DecodeTests, EveryFieldInBothEncodings) {
    Core core;
    core.created = 16'000'000'003;
    core.lastUpdated = 16'000'000'014;
    core.policyVersion = 3;
    core.language = "FR";
    core.country = "IT";
    core.features = {1, 12};
    core.purposes = {1, 3, 24};
    core.interests = {2, 23};
    core.vendors = Bits().vendorRow({1, 8, 9, 700});
    core.vendorInterests = Bits().vendorRanges(65535, {{2, 4}, {9, 9}, {65534, 65535}});
    core.restrictions = Bits().number(2, 12);
    core.restrictions.number(7, 6).number(2, 2).entries({{5, 6}, {8, 8}});
    core.restrictions.number(2, 6).number(0, 2).entries({});
    Bits publisher;
    publisher.number(3, 3).row({1}, 24).row({24}, 24).number(3, 6).row({2}, 3).row({1, 3}, 3);
    const std::string text = core.text() + "." + publisher.text() + "." +
                             Bits().number(2, 3).vendorRanges(3, {{3, 3}}).text() + "." +
                             Bits().number(1, 3).vendorRow({1, 2}).text();
    const json expected = {
        {"version", 2},
        {"created", 1600000000.3},
        {"lastUpdated", 1600000001.4},
        {"cmpId", 31},
        {"cmpVersion", 640},
        {"consentScreen", 1},
        {"consentLanguage", "FR"},
        {"vendorListVersion", 126},
        {"policyVersion", 3},
        {"isServiceSpecific", true},
        {"useNonStandardTexts", false},
        {"specialFeatureOptIns", {1, 12}},
        {"purposeConsents", {1, 3, 24}},
        {"purposeLegitimateInterests", {2, 23}},
        {"purposeOneTreatment", false},
        {"publisherCountryCode", "IT"},
        {"vendorConsents", {1, 8, 9, 700}},
        {"vendorLegitimateInterests", {2, 3, 4, 9, 65534, 65535}},
        {"publisherRestrictions",
         {{{"purposeId", 7}, {"restrictionType", 2}, {"vendorIds", {5, 6, 8}}},
          {{"purposeId", 2}, {"restrictionType", 0}, {"vendorIds", json::array()}}}},
        {"disclosedVendors", {1, 2}},
        {"allowedVendors", {3}},
        {"publisherPurposes",
         {{"purposeConsents", {1}},
          {"purposeLegitimateInterests", {24}},
          {"customPurposeCount", 3},
          {"customPurposeConsents", {2}},
          {"customPurposeLegitimateInterests", {1, 3}}}},
        {"problems", json::array()},
    };
    EXPECT_EQ(jsonOf(text), expected);
    std::ostringstream ranges;
    writeJSON(ranges, decoded(text), IdForm::ranges);
    EXPECT_EQ(json::parse(ranges.str())["vendorLegitimateInterests"],
              json({{2, 4}, {9, 9}, {65534, 65535}}));
}

TEST(DecodeTests, Version1InItsThreeEncodings) {
    Bits head;
    head.number(1, 6).number(15'000'000'000, 36).number(15'000'000'000, 36).number(7, 12);
    head.number(1, 12).number(3, 6).letters("EN").number(8, 12).row({1, 5}, 24);
    const auto consents = [&](const Bits &vendors) {
        return decoded(Bits(head).add(vendors).text()).vendorConsents.ranges();
    };
    const std::vector<IdRange> expected = {{2, 4}, {9, 9}};
    EXPECT_EQ(consents(Bits().number(9, 16).number(0, 1).row({2, 3, 4, 9}, 9)), expected);
    EXPECT_EQ(consents(Bits().number(9, 16).number(0b10, 2).entries({{2, 4}, {9, 9}})), expected);
    EXPECT_EQ(consents(Bits().number(9, 16).number(0b11, 2).entries({{1, 1}, {5, 8}})), expected);
    EXPECT_EQ(consents(Bits().number(0, 16).number(0b11, 2).entries({})), std::vector<IdRange>());
}

/// The bits that are there, the field in which they end: at every length.
TEST(DecodeTests, ACutStringSaysWhereItEnds) {
    Core core;
    core.vendors = Bits().vendorRanges(9, {{2, 4}, {9, 9}});
    core.vendorInterests = Bits().vendorRow({1, 40});
    core.restrictions = Bits().number(1, 12).number(7, 6).number(2, 2).entries({{5, 6}});
    const std::string text =
        core.text() + "." + Bits().number(1, 3).vendorRow({1, 20}).text() + "." +
        Bits().number(3, 3).row({}, 24).row({}, 24).number(9, 6).row({}, 9).row({}, 9).text();
    std::vector<std::string> fields;
    std::vector<std::string> sound;
    std::size_t segmentBegin = 0;
    for (std::size_t length = 0; length < text.size(); ++length) {
        if (length > 0 && text[length - 1] == '.')
            segmentBegin = length;
        const Failure failure = failureOf(text.substr(0, length));
        if (failure.text.empty()) {
            sound.push_back(text.substr(0, length));
            continue;
        }
        EXPECT_EQ(failure.bit, (length - segmentBegin) * 6) << length;
        const std::string field = failure.segment + ": " + failure.field;
        if (fields.empty() || fields.back() != field)
            fields.push_back(field);
        // A character that is none is found in the same place.
        EXPECT_EQ(failureOf(text.substr(0, length) + "%" + text.substr(length)).field,
                  failure.field);
    }
    EXPECT_THAT(sound, ElementsAre(core.text(), text.substr(0, text.rfind('.'))));
    EXPECT_THAT(
        fields,
        ElementsAre(
            "core: Version", "core: Created", "core: LastUpdated", "core: CmpId",
            "core: CmpVersion", "core: ConsentScreen", "core: ConsentLanguage",
            "core: VendorListVersion", "core: TcfPolicyVersion", "core: IsServiceSpecific",
            "core: SpecialFeatureOptIns", "core: PurposesConsent", "core: PurposesLITransparency",
            "core: PublisherCC", "core: vendor consents, MaxVendorId",
            "core: vendor consents, NumEntries", "core: vendor consents, StartVendorId",
            "core: vendor consents, EndVendorId", "core: vendor consents, VendorId",
            "core: vendor legitimate interests, MaxVendorId",
            "core: vendor legitimate interests, BitField",
            "core: publisher restrictions, NumPubRestrictions",
            "core: publisher restrictions, PurposeId", "core: publisher restrictions, NumEntries",
            "core: publisher restrictions, StartVendorId",
            "core: publisher restrictions, EndVendorId", "segment 2: SegmentType",
            "disclosed vendors segment: disclosed vendors, MaxVendorId",
            "disclosed vendors segment: disclosed vendors, BitField", "segment 3: SegmentType",
            "publisher purposes segment: PubPurposesConsent",
            "publisher purposes segment: PubPurposesLITransparency",
            "publisher purposes segment: NumCustomPurposes",
            "publisher purposes segment: CustomPurposesConsent",
            "publisher purposes segment: CustomPurposesLITransparency"));
}

TEST(DecodeTests, WhatIsNoConsentString) {
    EXPECT_EQ(failureOf("").text, "core, Version, bit 0: the string ends here, but 6 bits are "
                                  "expected");
    EXPECT_EQ(failureOf("D").text,
              "core, Version, bit 0: it says 3, but consent strings have version 1 or 2");
    EXPECT_EQ(failureOf("C\x1b[31m").text,
              "core, Created, bit 6: the byte 0x1b is not a base64url character");
    EXPECT_EQ(failureOf("CO \n").text,
              "core, Created, bit 12: the byte 0x20 is not a base64url character");
    EXPECT_EQ(failureOf(Core().text() + ".").segment, "segment 2");
    // What no field needs is read as well.
    EXPECT_EQ(failureOf(Core().text() + "AA~").field, "padding");
    EXPECT_EQ(failureOf(Core().text() + ".oAA\xff").field, "padding");
    EXPECT_EQ(jsonOf("D")["error"], failureOf("D").text);
}

/// Some characters name more than any memory holds, unless it is kept as they name it.
TEST(DecodeTests, AHostileStringCostsNoMoreThanItsLength) {
    Core core;
    core.vendors = Bits().vendorRanges(65535, Bits::Ranges(4095, {1, 65535}));
    core.restrictions = Bits().number(4095, 12);
    for (unsigned i = 0; i < 4095; ++i)
        core.restrictions.number(i % 64, 6).number(i % 4, 2).entries({{1, 65535}, {65535, 1}});
    const TCFString string = decoded(core.withDisclosedVendors());
    EXPECT_EQ(string.vendorConsents.ranges(), std::vector<IdRange>({{1, 65535}}));
    EXPECT_LE(string.publisherRestrictions.size(), 256U);
    for (const Restriction &each : string.publisherRestrictions)
        EXPECT_EQ(each.vendors.ranges().size(), 1U);
    EXPECT_LT(string.problems.size(), 10U);

    std::string segments = Core().text();
    for (int i = 0; i < 100'000; ++i)
        segments += ".4";
    EXPECT_EQ(decoded(segments).problems.size(), 2U);
    EXPECT_EQ(failureOf("C" + std::string(1'000'000, '_')).bit, 6'000'006U);
}

} // namespace
} // namespace vmr::test
