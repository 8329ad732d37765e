#include "tcf/TCFJSON.h"

#include "tcf/ObjectWriter.h"

#include <array>

namespace velmora::tcf {
namespace {

void writePublisherPurposes(ObjectWriter &object,
                            const std::optional<PublisherPurposes> &purposes) {
    if (!purposes) {
        object.null("publisherPurposes");
        return;
    }
    ObjectWriter inner = object.object("publisherPurposes");
    inner.ids("purposeConsents", purposes->consents);
    inner.ids("purposeLegitimateInterests", purposes->legitimateInterests);
    inner.number("customPurposeCount", purposes->customCount);
    inner.ids("customPurposeConsents", purposes->customConsents);
    inner.ids("customPurposeLegitimateInterests", purposes->customLegitimateInterests);
}

void writeVersion2(ObjectWriter &object, const TCFString &string) {
    object.number("policyVersion", string.policyVersion);
    object.boolean("isServiceSpecific", string.isServiceSpecific);
    object.boolean("useNonStandardTexts", string.useNonStandardTexts);
    object.ids("specialFeatureOptIns", string.specialFeatureOptIns);
    object.ids("purposeConsents", string.purposeConsents);
    object.ids("purposeLegitimateInterests", string.purposeLegitimateInterests);
    object.boolean("purposeOneTreatment", string.purposeOneTreatment);
    object.text("publisherCountryCode", string.publisherCountryCode);
    object.ids("vendorConsents", string.vendorConsents);
    object.ids("vendorLegitimateInterests", string.vendorLegitimateInterests);
    object.list("publisherRestrictions", string.publisherRestrictions,
                [&](const Restriction &each) {
                    ObjectWriter restriction = object.objectElement();
                    restriction.number("purposeId", each.purpose);
                    restriction.number("restrictionType", static_cast<int>(each.type));
                    restriction.ids("vendorIds", each.vendors);
                });
    object.ids("disclosedVendors", string.disclosedVendors);
    object.ids("allowedVendors", string.allowedVendors);
    writePublisherPurposes(object, string.publisherPurposes);
}

void writeString(ObjectWriter &object, const TCFString &string) {
    object.number("version", string.version);
    object.seconds("created", string.created);
    object.seconds("lastUpdated", string.lastUpdated);
    object.number("cmpId", string.cmpId);
    object.number("cmpVersion", string.cmpVersion);
    object.number("consentScreen", string.consentScreen);
    object.text("consentLanguage", string.consentLanguage);
    object.number("vendorListVersion", string.vendorListVersion);
    if (string.version == 2) {
        writeVersion2(object, string);
    } else {
        object.ids("purposesAllowed", string.purposeConsents);
        object.ids("vendorConsents", string.vendorConsents);
    }
    object.list("problems", string.problems,
                [&](const Problem &problem) { object.textElement(problem.text); });
}

} // namespace

void writeJSON(std::ostream &out, const std::variant<TCFString, Failure> &decoded, IdForm form) {
    ObjectWriter object(out, form);
    if (const auto *failure = std::get_if<Failure>(&decoded))
        object.text("error", failure->text);
    else
        writeString(object, std::get<TCFString>(decoded));
}

void writeJSON(std::ostream &out, const Difference &difference, IdForm form) {
    ObjectWriter object(out, form);
    for (const auto &[name, side] :
         {std::pair("granted", &IdChange::granted), std::pair("withdrawn", &IdChange::withdrawn)}) {
        ObjectWriter inner = object.object(name);
        for (const IdChange &change : difference.ids)
            if (!(change.*side).empty())
                inner.ids(change.entry, change.*side);
    }
    {
        ObjectWriter changed = object.object("changed");
        for (const ValueChange &change : difference.values)
            changed.list(change.entry, std::array{change.before, change.after},
                         [&](const std::string &text) { changed.textElement(text); });
    }
    object.boolean("comparesPurposes", difference.comparesPurposes);
}

} // namespace velmora::tcf
