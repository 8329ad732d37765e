#pragma once

#include "tcf/TCFString.h"

namespace velmora::doctor {

/// A key beside the string that holds a number of it.
struct NumberKey {
    const char *key;
    int (*inString)(const tcf::TCFString &string);
};

/// A key beside the string that holds a text of '0' and '1', the first for id 1.
struct RowKey {
    const char *key;
    tcf::IdSet (*inString)(const tcf::TCFString &string);
};

inline constexpr NumberKey numberKeys[] = {
    {"IABTCF_CmpSdkID", [](const tcf::TCFString &string) { return string.cmpId; }},
    {"IABTCF_CmpSdkVersion", [](const tcf::TCFString &string) { return string.cmpVersion; }},
    {"IABTCF_PolicyVersion", [](const tcf::TCFString &string) { return string.policyVersion; }},
    {"IABTCF_PurposeOneTreatment",
     [](const tcf::TCFString &string) { return string.purposeOneTreatment ? 1 : 0; }},
    {"IABTCF_UseNonStandardTexts",
     [](const tcf::TCFString &string) { return string.useNonStandardTexts ? 1 : 0; }},
};

inline tcf::PublisherPurposes publisherOf(const tcf::TCFString &string) {
    return string.publisherPurposes.value_or(tcf::PublisherPurposes());
}

inline constexpr RowKey rowKeys[] = {
    {"IABTCF_PurposeConsents", [](const tcf::TCFString &string) { return string.purposeConsents; }},
    {"IABTCF_PurposeLegitimateInterests",
     [](const tcf::TCFString &string) { return string.purposeLegitimateInterests; }},
    {"IABTCF_SpecialFeaturesOptIns",
     [](const tcf::TCFString &string) { return string.specialFeatureOptIns; }},
    {"IABTCF_VendorConsents", [](const tcf::TCFString &string) { return string.vendorConsents; }},
    {"IABTCF_VendorLegitimateInterests",
     [](const tcf::TCFString &string) { return string.vendorLegitimateInterests; }},
    {"IABTCF_DisclosedVendors",
     [](const tcf::TCFString &string) { return string.disclosedVendors.value_or(tcf::IdSet()); }},
    {"IABTCF_PublisherConsent",
     [](const tcf::TCFString &string) { return publisherOf(string).consents; }},
    {"IABTCF_PublisherLegitimateInterests",
     [](const tcf::TCFString &string) { return publisherOf(string).legitimateInterests; }},
    {"IABTCF_PublisherCustomPurposesConsents",
     [](const tcf::TCFString &string) { return publisherOf(string).customConsents; }},
    {"IABTCF_PublisherCustomPurposesLegitimateInterests",
     [](const tcf::TCFString &string) { return publisherOf(string).customLegitimateInterests; }},
};

} // namespace velmora::doctor
