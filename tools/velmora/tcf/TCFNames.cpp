#include "tcf/TCFNames.h"

#include <iterator>

namespace velmora::tcf {
namespace {

constexpr std::string_view purposes[] = {
    "Store and/or access information on a device",
    "Use limited data to select advertising",
    "Create profiles for personalised advertising",
    "Use profiles to select personalised advertising",
    "Create profiles to personalise content",
    "Use profiles to select personalised content",
    "Measure advertising performance",
    "Measure content performance",
    "Understand audiences through statistics or combinations of data from different sources",
    "Develop and improve services",
    "Use limited data to select content",
};

constexpr std::string_view version1Purposes[] = {
    "Information storage and access",
    "Personalisation",
    "Ad selection, delivery, reporting",
    "Content selection, delivery, reporting",
    "Measurement",
};

constexpr std::string_view specialFeatures[] = {
    "Use precise geolocation data",
    "Actively scan device characteristics for identification",
};

template <std::size_t count>
std::string_view nameIn(const std::string_view (&names)[count], unsigned id) {
    return id >= 1 && id <= count ? names[id - 1] : std::string_view();
}

} // namespace

std::string_view purposeName(int version, unsigned id) {
    return version == 1 ? nameIn(version1Purposes, id) : nameIn(purposes, id);
}

std::string_view specialFeatureName(unsigned id) {
    return nameIn(specialFeatures, id);
}

std::string_view restrictionName(RestrictionType type) {
    switch (type) {
    case RestrictionType::notAllowed:
        return "not allowed";
    case RestrictionType::requireConsent:
        return "consent required";
    case RestrictionType::requireLegitimateInterest:
        return "legitimate interest required";
    case RestrictionType::undefined:
        break;
    }
    return "undefined restriction";
}

std::string_view editionName(const TCFString &string) {
    if (string.version == 1)
        return "1.1";
    if (string.policyVersion < 4)
        return "2.0 or 2.1";
    if (string.policyVersion == 4)
        return "2.2";
    return string.policyVersion == 5 ? "2.3" : "later than 2.3";
}

} // namespace velmora::tcf
