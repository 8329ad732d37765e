#include "tcf/Ranges.h"
#include "tcf/Segments.h"

#include <map>
#include <utility>

namespace velmora::tcf {
namespace {

constexpr unsigned bitsOfPurposes = 24;
constexpr unsigned bitsOfFeatures = 12;

/// However many restrictions the text has, no more are kept than there are pairs of purpose and
/// type.
void readRestrictions(Segment &core, TCFString &string) {
    constexpr std::string_view part = "publisher restrictions";
    core.enter(part);
    const int count = core.integer("NumPubRestrictions", 12);
    Ranges ranges;
    std::map<std::pair<int, int>, std::size_t> places;
    std::vector<std::vector<IdRange>> vendors;
    std::vector<IdRange> repeated;
    for (int i = 0; i < count; ++i) {
        const int purpose = core.integer("PurposeId", 6);
        const int type = core.integer("RestrictionType", 2);
        const auto [place, isNew] = places.try_emplace({purpose, type}, vendors.size());
        if (isNew) {
            string.publisherRestrictions.push_back(
                {purpose, static_cast<RestrictionType>(type), {}});
            vendors.emplace_back();
        } else if (repeated.empty()) {
            const auto id = static_cast<std::uint16_t>(purpose);
            repeated.push_back({id, id});
        }
        const std::vector<IdRange> read = ranges.read(core);
        auto &all = vendors[place->second];
        all.insert(all.end(), read.begin(), read.end());
    }
    for (std::size_t i = 0; i < vendors.size(); ++i)
        string.publisherRestrictions[i].vendors = IdSet(std::move(vendors[i]));
    ranges.report(part, string.problems);
    if (!repeated.empty())
        string.problems.push_back({"purpose " + std::to_string(repeated.front().first) +
                                       " is restricted twice in the same way",
                                   encoderRemedy});
}

void readVersion2(Segment &core, TCFString &string) {
    string.policyVersion = core.integer("TcfPolicyVersion", 6);
    string.isServiceSpecific = core.flag("IsServiceSpecific");
    string.useNonStandardTexts = core.flag("UseNonStandardTexts");
    string.specialFeatureOptIns = core.row("SpecialFeatureOptIns", bitsOfFeatures);
    string.purposeConsents = core.row("PurposesConsent", bitsOfPurposes);
    string.purposeLegitimateInterests = core.row("PurposesLITransparency", bitsOfPurposes);
    string.purposeOneTreatment = core.flag("PurposeOneTreatment");
    string.publisherCountryCode = core.letters("PublisherCC");
    string.vendorConsents = readVendors(core, "vendor consents", string.problems);
    string.vendorLegitimateInterests =
        readVendors(core, "vendor legitimate interests", string.problems);
    readRestrictions(core, string);
}

} // namespace

TCFString readCore(Segment &core) {
    TCFString string;
    string.version = core.integer("Version", 6);
    if (string.version != 1 && string.version != 2)
        core.fail("Version", 0,
                  "it says " + std::to_string(string.version) +
                      ", but consent strings have version 1 or 2");
    string.created = static_cast<std::int64_t>(core.number("Created", 36));
    string.lastUpdated = static_cast<std::int64_t>(core.number("LastUpdated", 36));
    string.cmpId = core.integer("CmpId", 12);
    string.cmpVersion = core.integer("CmpVersion", 12);
    string.consentScreen = core.integer("ConsentScreen", 6);
    string.consentLanguage = core.letters("ConsentLanguage");
    string.vendorListVersion = core.integer("VendorListVersion", 12);
    if (string.version == 2) {
        readVersion2(core, string);
    } else {
        string.purposeConsents = core.row("PurposesAllowed", bitsOfPurposes);
        string.vendorConsents = readVersion1Vendors(core, string.problems);
    }
    checkEnd(core, string.problems);
    return string;
}

} // namespace velmora::tcf
