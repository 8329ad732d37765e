#pragma once

#include "tcf/IdSet.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// Consent strings of the Transparency and Consent Framework: version 1.1, and version 2 as of 2.0
/// to 2.3. Pure functions of their arguments; any thread.
namespace velmora::tcf {

/// What a consent tool must not write although it can be read.
struct Problem {
    std::string text;
    /// What to do about it.
    std::string remedy;
};

/// The numbers are the format's.
enum class RestrictionType {
    notAllowed = 0,
    requireConsent = 1,
    requireLegitimateInterest = 2,
    undefined = 3
};

struct Restriction {
    int purpose = 0;
    RestrictionType type = RestrictionType::notAllowed;
    IdSet vendors;
};

struct PublisherPurposes {
    IdSet consents;
    IdSet legitimateInterests;
    int customCount = 0;
    IdSet customConsents;
    IdSet customLegitimateInterests;
};

/// A string that could be read to its end.
struct TCFString {
    int version = 0;
    /// Tenths of a second since 1970.
    std::int64_t created = 0;
    std::int64_t lastUpdated = 0;
    int cmpId = 0;
    int cmpVersion = 0;
    int consentScreen = 0;
    /// Two capital letters; "?" stands for what is no letter.
    std::string consentLanguage;
    int vendorListVersion = 0;
    /// Of version 1: the purposes allowed.
    IdSet purposeConsents;
    IdSet vendorConsents;

    // Version 2 alone.
    int policyVersion = 0;
    bool isServiceSpecific = false;
    bool useNonStandardTexts = false;
    IdSet specialFeatureOptIns;
    IdSet purposeLegitimateInterests;
    bool purposeOneTreatment = false;
    std::string publisherCountryCode;
    IdSet vendorLegitimateInterests;
    /// One for each pair of purpose and type, in the string's order.
    std::vector<Restriction> publisherRestrictions;
    std::optional<IdSet> disclosedVendors;
    std::optional<IdSet> allowedVendors;
    std::optional<PublisherPurposes> publisherPurposes;

    std::vector<Problem> problems;
};

/// Where a text stops being a consent string.
struct Failure {
    /// "core", "disclosed vendors", …, or "segment 3" before its type is known.
    std::string segment;
    /// As the format calls it: "MaxVendorId".
    std::string field;
    /// Within the segment, the first is 0.
    std::size_t bit = 0;
    /// All of it in a sentence. Printable ASCII, whatever the text was.
    std::string text;
};

/// `now`: seconds since 1970.
std::variant<TCFString, Failure> decode(std::string_view text, std::int64_t now);

} // namespace velmora::tcf
