#include "tcf/TCFDifference.h"

#include "tcf/TCFNames.h"
#include "tcf/TCFText.h"

namespace velmora::tcf {
namespace {

void compare(Difference &difference, std::string_view entry, const IdSet &before,
             const IdSet &after) {
    if (before != after)
        difference.ids.push_back({entry, after.without(before), before.without(after)});
}

void compare(Difference &difference, std::string_view entry, std::string before,
             std::string after) {
    if (before != after)
        difference.values.push_back({entry, std::move(before), std::move(after)});
}

void compare(Difference &difference, std::string_view entry, int before, int after) {
    compare(difference, entry, std::to_string(before), std::to_string(after));
}

void compare(Difference &difference, std::string_view entry, bool before, bool after) {
    compare(difference, entry, std::string(before ? "yes" : "no"),
            std::string(after ? "yes" : "no"));
}

void compareCommon(Difference &difference, const TCFString &before, const TCFString &after) {
    compare(difference, "version", before.version, after.version);
    compare(difference, "created", dateInWords(before.created), dateInWords(after.created));
    compare(difference, "lastUpdated", dateInWords(before.lastUpdated),
            dateInWords(after.lastUpdated));
    compare(difference, "cmpId", before.cmpId, after.cmpId);
    compare(difference, "cmpVersion", before.cmpVersion, after.cmpVersion);
    compare(difference, "consentScreen", before.consentScreen, after.consentScreen);
    compare(difference, "consentLanguage", before.consentLanguage, after.consentLanguage);
    compare(difference, "vendorListVersion", before.vendorListVersion, after.vendorListVersion);
}

void compareVersion2(Difference &difference, const TCFString &before, const TCFString &after) {
    compare(difference, "policyVersion", before.policyVersion, after.policyVersion);
    compare(difference, "isServiceSpecific", before.isServiceSpecific, after.isServiceSpecific);
    compare(difference, "useNonStandardTexts", before.useNonStandardTexts,
            after.useNonStandardTexts);
    compare(difference, "purposeOneTreatment", before.purposeOneTreatment,
            after.purposeOneTreatment);
    compare(difference, "publisherCountryCode", before.publisherCountryCode,
            after.publisherCountryCode);
    compare(difference, "publisherRestrictions", inWords(before.publisherRestrictions),
            inWords(after.publisherRestrictions));

    compare(difference, "specialFeatureOptIns", before.specialFeatureOptIns,
            after.specialFeatureOptIns);
    compare(difference, "purposeConsents", before.purposeConsents, after.purposeConsents);
    compare(difference, "purposeLegitimateInterests", before.purposeLegitimateInterests,
            after.purposeLegitimateInterests);
    compare(difference, "vendorLegitimateInterests", before.vendorLegitimateInterests,
            after.vendorLegitimateInterests);
    compare(difference, "disclosedVendors", before.disclosedVendors.value_or(IdSet()),
            after.disclosedVendors.value_or(IdSet()));
    compare(difference, "allowedVendors", before.allowedVendors.value_or(IdSet()),
            after.allowedVendors.value_or(IdSet()));
    const PublisherPurposes ours = before.publisherPurposes.value_or(PublisherPurposes());
    const PublisherPurposes theirs = after.publisherPurposes.value_or(PublisherPurposes());
    compare(difference, "publisherPurposes.purposeConsents", ours.consents, theirs.consents);
    compare(difference, "publisherPurposes.purposeLegitimateInterests", ours.legitimateInterests,
            theirs.legitimateInterests);
    compare(difference, "publisherPurposes.customPurposeConsents", ours.customConsents,
            theirs.customConsents);
    compare(difference, "publisherPurposes.customPurposeLegitimateInterests",
            ours.customLegitimateInterests, theirs.customLegitimateInterests);
}

} // namespace

Difference difference(const TCFString &before, const TCFString &after) {
    Difference difference;
    difference.comparesPurposes = before.version == after.version;
    compareCommon(difference, before, after);
    if (difference.comparesPurposes && after.version == 2)
        compareVersion2(difference, before, after);
    else if (difference.comparesPurposes)
        compare(difference, "purposesAllowed", before.purposeConsents, after.purposeConsents);
    compare(difference, "vendorConsents", before.vendorConsents, after.vendorConsents);
    return difference;
}

} // namespace velmora::tcf
