#include "tcf/Rules.h"

#include "tcf/Segments.h"
#include "tcf/TCFText.h"

#include <algorithm>

namespace velmora::tcf {
namespace {

constexpr std::int64_t tenthsOfDay = 864'000;
/// From 1 October 2023 on strings must follow policy version 4.
constexpr std::int64_t policy4Begins = 16'961'184'000;
constexpr int policyOf22 = 4;
constexpr int policyOf23 = 5;

class Rules {
public:
    Rules(TCFString &string, std::int64_t now)
        : string_(string), now_(now * 10 + 9), isFrom22On_(string.policyVersion >= policyOf22) {}

    void check() {
        checkDates();
        if (string_.version == 1)
            return add(
                "it is a string of version 1, which has been invalid since 30 September 2020",
                "have the consent tool write version 2 under IABTCF_TCString");
        checkScope();
        checkLegitimateInterests();
        checkRestrictions();
        if (string_.publisherCountryCode.find('?') != std::string::npos)
            add("PublisherCC is not a pair of letters",
                "configure the publisher's country in the consent tool, or AA");
    }

private:
    void add(std::string text, std::string remedy) {
        string_.problems.push_back({std::move(text), std::move(remedy)});
    }

    void checkDates() {
        if (std::max(string_.created, string_.lastUpdated) > now_)
            add("it was made in the future: created " + dateInWords(string_.created) +
                    ", last updated " + dateInWords(string_.lastUpdated),
                "set the clock of the device where the consent was given");
        if (string_.consentLanguage.find('?') != std::string::npos)
            add("ConsentLanguage is not a pair of letters",
                "have the consent tool write the ISO 639-1 code of its language");
        if (!isFrom22On_)
            return;
        if (string_.created != string_.lastUpdated)
            add("created and last updated differ: " + dateInWords(string_.created) + " and " +
                    dateInWords(string_.lastUpdated),
                "have the consent tool write the same day into both, as it must since 2.2");
        if (string_.created % tenthsOfDay != 0 || string_.lastUpdated % tenthsOfDay != 0)
            add("the dates are not rounded to the day",
                "have the consent tool round them to 00:00 UTC, as it must since 2.2");
    }

    void checkScope() {
        if (!string_.isServiceSpecific)
            add("it is not service-specific, so it counts as invalid",
                "have the consent tool set IsServiceSpecific to 1");
        if (!isFrom22On_ && std::max(string_.created, string_.lastUpdated) >= policy4Begins)
            add("it was made after September 2023 under policy version " +
                    std::to_string(string_.policyVersion) + ", so it counts as invalid",
                "update the consent tool to one that follows 2.2 or later");
        if (string_.policyVersion >= policyOf23 && !string_.disclosedVendors)
            add("the segment of the disclosed vendors is missing, which policy version 5 demands",
                "update the consent tool to one that follows 2.3");
    }

    void checkLegitimateInterests() {
        std::vector<IdRange> forbidden = {{1, 1}};
        if (isFrom22On_)
            forbidden.push_back({3, 6});
        const IdSet &claimed = string_.purposeLegitimateInterests;
        const IdSet allowed = claimed.without(IdSet(forbidden));
        if (allowed != claimed)
            add("legitimate interest is claimed for purpose " + inWords(claimed.without(allowed)) +
                    ", where only consent counts",
                "have the consent tool ask for consent there");
    }

    void checkRestrictions() {
        std::vector<IdRange> undefined;
        std::optional<int> unknown;
        for (const Restriction &each : string_.publisherRestrictions) {
            const auto purpose = static_cast<std::uint16_t>(each.purpose);
            if (each.type == RestrictionType::undefined)
                undefined.push_back({purpose, purpose});
            if (purpose == 0 || purpose > 24)
                unknown = each.purpose;
        }
        if (!undefined.empty())
            add("a restriction for purpose " + inWords(IdSet(undefined)) +
                    " has the type 3, which means nothing",
                "remove it in the consent tool's settings");
        if (unknown)
            add("a restriction names purpose " + std::to_string(*unknown) +
                    ", but purposes are 1 to 24",
                encoderRemedy);
    }

    TCFString &string_;
    std::int64_t now_;
    bool isFrom22On_;
};

} // namespace

void checkRules(TCFString &string, std::int64_t now) {
    Rules(string, now).check();
}

} // namespace velmora::tcf
