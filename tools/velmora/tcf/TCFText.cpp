#include "tcf/TCFText.h"

#include "tcf/Lines.h"
#include "tcf/TCFNames.h"

#include <cstdio>

namespace velmora::tcf {
namespace {

constexpr unsigned mostPurposes = 24;
constexpr unsigned mostFeatures = 12;

/// "12: 1-3, 7-15".
std::string counted(const IdSet &ids) {
    return ids.empty() ? "none" : std::to_string(ids.count()) + ": " + inWords(ids);
}

std::string yesOrNo(bool value) {
    return value ? "yes" : "no";
}

void describeHead(Lines &lines, const TCFString &string) {
    lines.heading("Consent string of version " + std::string(editionName(string)) +
                  (string.problems.empty()
                       ? ", no problems"
                       : ", problems: " + std::to_string(string.problems.size())));
    lines.row("created", dateInWords(string.created));
    lines.row("last updated", dateInWords(string.lastUpdated));
    lines.row("consent tool", std::to_string(string.cmpId) + ", its version " +
                                  std::to_string(string.cmpVersion) + ", screen " +
                                  std::to_string(string.consentScreen));
    lines.row("language", string.consentLanguage);
    lines.row("vendor list", "version " + std::to_string(string.vendorListVersion));
    if (string.version == 1)
        return;
    lines.row("policy", "version " + std::to_string(string.policyVersion));
    lines.row("publisher's country", string.publisherCountryCode);
    lines.row("service-specific", yesOrNo(string.isServiceSpecific));
    lines.row("non-standard texts", yesOrNo(string.useNonStandardTexts));
    lines.row("purpose 1 disclosed", yesOrNo(!string.purposeOneTreatment));
}

std::string nameOr(std::string_view name, const char *otherwise) {
    return name.empty() ? otherwise : std::string(name);
}

/// The purposes that the string's policy knows, and whatever else it speaks of.
unsigned knownPurposes(const TCFString &string) {
    if (string.version == 1)
        return 5;
    return string.policyVersion < 4 ? 10 : 11;
}

void describePurposes(Lines &lines, const TCFString &string) {
    const bool isVersion2 = string.version == 2;
    lines.heading("Purposes");
    lines.row(isVersion2 ? "id  consent  interest" : "id  allowed", "");
    for (unsigned id = 1; id <= mostPurposes; ++id) {
        const bool consents = string.purposeConsents.contains(id);
        const bool interests = string.purposeLegitimateInterests.contains(id);
        if (id > knownPurposes(string) && !consents && !interests)
            continue;
        char label[32];
        std::snprintf(label, sizeof label, "%2u  %-7s  %s", id, consents ? "yes" : "-",
                      !isVersion2 ? ""
                      : interests ? "yes"
                                  : "-");
        lines.row(label, nameOr(purposeName(string.version, id), "(no purpose of the framework)"));
    }
}

void describeFeatures(Lines &lines, const TCFString &string) {
    lines.heading("Special features");
    for (unsigned id = 1; id <= mostFeatures; ++id) {
        const bool isOptedIn = string.specialFeatureOptIns.contains(id);
        const std::string_view name = specialFeatureName(id);
        if (name.empty() && !isOptedIn)
            continue;
        char label[32];
        std::snprintf(label, sizeof label, "%2u  %s", id, isOptedIn ? "opted in" : "-");
        lines.row(label, nameOr(name, "(no special feature of the framework)"));
    }
}

void describeVendors(Lines &lines, const TCFString &string) {
    lines.heading("Vendors");
    lines.row("consent", counted(string.vendorConsents));
    if (string.version == 1)
        return;
    lines.row("legitimate interest", counted(string.vendorLegitimateInterests));
    lines.row("disclosed",
              string.disclosedVendors ? counted(*string.disclosedVendors) : "no such segment");
    if (string.allowedVendors)
        lines.row("allowed", counted(*string.allowedVendors));
}

void describeRestrictions(Lines &lines, const TCFString &string) {
    if (string.publisherRestrictions.empty())
        return;
    lines.heading("Restrictions by the publisher");
    for (const Restriction &each : string.publisherRestrictions)
        lines.row("purpose " + std::to_string(each.purpose),
                  std::string(restrictionName(each.type)) + " for vendors " +
                      inWords(each.vendors));
}

void describePublisher(Lines &lines, const TCFString &string) {
    if (!string.publisherPurposes)
        return;
    const PublisherPurposes &own = *string.publisherPurposes;
    lines.heading("The publisher's own purposes");
    lines.row("consent", inWords(own.consents));
    lines.row("legitimate interest", inWords(own.legitimateInterests));
    lines.row("custom purposes", std::to_string(own.customCount));
    if (own.customCount == 0)
        return;
    lines.row("  consent", inWords(own.customConsents));
    lines.row("  legitimate interest", inWords(own.customLegitimateInterests));
}

void describeProblems(Lines &lines, const TCFString &string) {
    if (string.problems.empty())
        return;
    lines.heading("Problems");
    for (const Problem &problem : string.problems)
        lines.remark(problem.text + "; " + problem.remedy);
}

} // namespace

std::string inWords(const TCFString &string) {
    Lines lines;
    describeHead(lines, string);
    describePurposes(lines, string);
    if (string.version == 2)
        describeFeatures(lines, string);
    describeVendors(lines, string);
    describeRestrictions(lines, string);
    describePublisher(lines, string);
    describeProblems(lines, string);
    return lines.text();
}

} // namespace velmora::tcf
