#include "page/ConsentView.h"

#include "tcf/TCFJSON.h"
#include "tcf/TCFNames.h"

#include <ctime>
#include <sstream>

namespace velmora::page {
namespace {

using namespace tcf;
using nlohmann::ordered_json;

constexpr unsigned mostPurposes = 24;
constexpr unsigned mostFeatures = 12;

std::variant<TCFString, Failure> decodeNow(const std::string &text) {
    return decode(text, std::time(nullptr));
}

ordered_json rangesOf(const IdSet &ids) {
    ordered_json ranges = ordered_json::array();
    for (const IdRange &range : ids.ranges())
        ranges.push_back({range.first, range.last});
    return ranges;
}

/// Those that have a name, and others that the string speaks of all the same.
ordered_json purposesOf(const TCFString &string) {
    ordered_json purposes = ordered_json::array();
    for (unsigned id = 1; id <= mostPurposes; ++id) {
        const std::string_view name = purposeName(string.version, id);
        const bool consent = string.purposeConsents.contains(id);
        const bool interest = string.purposeLegitimateInterests.contains(id);
        if (!name.empty() || consent || interest)
            purposes.push_back({{"id", id},
                                {"name", name.empty() ? "no purpose of this number is defined"
                                                      : std::string(name)},
                                {"consent", consent},
                                {"interest", interest}});
    }
    return purposes;
}

ordered_json featuresOf(const TCFString &string) {
    ordered_json features = ordered_json::array();
    for (unsigned id = 1; id <= mostFeatures; ++id) {
        const std::string_view name = specialFeatureName(id);
        const bool isIn = string.specialFeatureOptIns.contains(id);
        if (!name.empty() || isIn)
            features.push_back({{"id", id}, {"name", name}, {"consent", isIn}});
    }
    return features;
}

ordered_json vendorsOf(const TCFString &string) {
    ordered_json lists = ordered_json::array();
    const auto add = [&](const char *name, const IdSet &ids) {
        lists.push_back({{"name", name}, {"count", ids.count()}, {"ranges", rangesOf(ids)}});
    };
    add("Consent", string.vendorConsents);
    if (string.version == 1)
        return lists;
    add("Legitimate interest", string.vendorLegitimateInterests);
    if (string.disclosedVendors)
        add("Disclosed", *string.disclosedVendors);
    if (string.allowedVendors)
        add("Allowed by the publisher", *string.allowedVendors);
    return lists;
}

ordered_json restrictionsOf(const TCFString &string) {
    ordered_json list = ordered_json::array();
    for (const Restriction &restriction : string.publisherRestrictions)
        list.push_back({{"purpose", restriction.purpose},
                        {"type", restrictionName(restriction.type)},
                        {"count", restriction.vendors.count()},
                        {"ranges", rangesOf(restriction.vendors)}});
    return list;
}

ordered_json publisherOf(const std::optional<PublisherPurposes> &publisher) {
    if (!publisher)
        return nullptr;
    return {{"consents", rangesOf(publisher->consents)},
            {"interests", rangesOf(publisher->legitimateInterests)},
            {"customCount", publisher->customCount},
            {"customConsents", rangesOf(publisher->customConsents)},
            {"customInterests", rangesOf(publisher->customLegitimateInterests)}};
}

ordered_json problemsOf(const TCFString &string) {
    ordered_json problems = ordered_json::array();
    for (const Problem &problem : string.problems)
        problems.push_back({{"text", problem.text}, {"remedy", problem.remedy}});
    return problems;
}

} // namespace

ordered_json consentView(const std::string &text) {
    const auto decoded = decodeNow(text);
    if (const Failure *failure = std::get_if<Failure>(&decoded))
        return {{"error", failure->text}};
    const TCFString &string = std::get<TCFString>(decoded);
    ordered_json view = {{"version", string.version},
                         {"edition", editionName(string)},
                         {"created", string.created * 100},
                         {"lastUpdated", string.lastUpdated * 100},
                         {"cmpId", string.cmpId},
                         {"cmpVersion", string.cmpVersion},
                         {"screen", string.consentScreen},
                         {"language", string.consentLanguage},
                         {"vendorListVersion", string.vendorListVersion},
                         {"purposes", purposesOf(string)},
                         {"vendors", vendorsOf(string)},
                         {"problems", problemsOf(string)}};
    if (string.version > 1) {
        view["policyVersion"] = string.policyVersion;
        view["country"] = string.publisherCountryCode;
        view["isServiceSpecific"] = string.isServiceSpecific;
        view["useNonStandardTexts"] = string.useNonStandardTexts;
        view["purposeOneTreatment"] = string.purposeOneTreatment;
        view["features"] = featuresOf(string);
        view["restrictions"] = restrictionsOf(string);
        view["publisher"] = publisherOf(string.publisherPurposes);
    }
    return view;
}

ordered_json consentDifference(const std::string &before, const std::string &after) {
    const auto first = decodeNow(before);
    const auto second = decodeNow(after);
    const TCFString *from = std::get_if<TCFString>(&first);
    const TCFString *to = std::get_if<TCFString>(&second);
    if (from == nullptr || to == nullptr)
        return nullptr;
    std::ostringstream text;
    writeJSON(text, difference(*from, *to), IdForm::ranges);
    return ordered_json::parse(text.str());
}

ordered_json consentSummary(const std::string &text) {
    const auto decoded = decodeNow(text);
    if (const Failure *failure = std::get_if<Failure>(&decoded))
        return {{"error", failure->text}};
    const TCFString &string = std::get<TCFString>(decoded);
    return {{"version", string.version},
            {"purposes", rangesOf(string.purposeConsents)},
            {"purposeCount", string.purposeConsents.count()},
            {"vendorCount", string.vendorConsents.count()},
            {"problemCount", string.problems.size()}};
}

} // namespace velmora::page
