#include "StoredValue.h"
#include "doctor/Checks.h"
#include "doctor/CompanionKeys.h"
#include "doctor/StoredConsent.h"
#include "tcf/TCFText.h"

#include <map>

namespace velmora::doctor {
namespace {

using nlohmann::ordered_json;
using tcf::IdRange;
using tcf::IdSet;
using tcf::TCFString;

constexpr const char *remedy = "have the consent tool write there what the string says";
constexpr std::size_t longestList = 120;

constexpr int purposes = 24;

std::string listed(const IdSet &ids) {
    const std::string all = tcf::inWords(ids);
    return all.size() <= longestList ? all : all.substr(0, all.rfind(',', longestList)) + ", ...";
}

/// The ids at whose place the text has the character; the first place is id 1.
IdSet idsOf(const std::string &text, char character) {
    std::vector<IdRange> ranges;
    for (std::size_t i = 0; i < text.size() && i < 65535; ++i)
        if (text[i] == character) {
            const auto id = static_cast<std::uint16_t>(i + 1);
            ranges.push_back({id, id});
        }
    return IdSet(std::move(ranges));
}

/// Compares one key after the other with the string, and counts what it finds.
class Companions {
public:
    Companions(const TCFString &string, Findings &findings)
        : string_(string), findings_(findings) {}

    void check() {
        checkScope();
        for (const NumberKey &each : numberKeys)
            checkNumber(each);
        checkCountry();
        for (const RowKey &each : rowKeys)
            checkRow(each);
        for (int purpose = 1; purpose <= purposes; ++purpose)
            checkRestrictions(purpose);
        report();
    }

private:
    /// The value under a key that must be there with that type; null when it is not.
    ordered_json take(const std::string &key, bool mustExist, bool isNumber) {
        ordered_json value = storedValue(key);
        if (value.is_null()) {
            if (mustExist)
                missing_ += (missing_.empty() ? "" : ", ") + key;
            return value;
        }
        ++present_;
        if (isNumber ? value.is_number() : value.is_string())
            return value;
        differ(key + " holds " + storedTypeInWords(value) + " instead of a " +
               (isNumber ? "number" : "string"));
        return nullptr;
    }

    void differ(const std::string &message) {
        ++different_;
        findings_.warn("consent.companions", message, remedy);
    }

    void checkScope() {
        const ordered_json value = take("IABTCF_gdprApplies", true, true);
        if (!value.is_null() && value != 0 && value != 1)
            differ("IABTCF_gdprApplies is " + value.dump() + ", which is neither 0 nor 1");
    }

    void checkNumber(const NumberKey &each) {
        const ordered_json value = take(each.key, true, true);
        const int expected = each.inString(string_);
        if (!value.is_null() && value != expected)
            differ(std::string(each.key) + " is " + value.dump() + ", but the string says " +
                   std::to_string(expected));
    }

    void checkCountry() {
        const ordered_json value = take("IABTCF_PublisherCC", true, false);
        if (!value.is_null() && value != string_.publisherCountryCode)
            differ("IABTCF_PublisherCC is " + quoted(value) + ", but the string says \"" +
                   string_.publisherCountryCode + "\"");
    }

    void compare(const std::string &subject, const IdSet &stored, const IdSet &inString) {
        const IdSet alone = stored.without(inString);
        const IdSet lacking = inString.without(stored);
        if (!alone.empty())
            differ(subject + " has " + listed(alone) + ", which the string has not");
        if (!lacking.empty())
            differ(subject + " lacks " + listed(lacking) + ", which the string has");
    }

    void checkRow(const RowKey &each) {
        const IdSet inString = each.inString(string_);
        const ordered_json value = take(each.key, !inString.empty(), false);
        if (value.is_null())
            return;
        const auto &text = value.get_ref<const std::string &>();
        const std::size_t other = text.find_first_not_of("01");
        if (other != std::string::npos)
            differ(std::string(each.key) + " has " + quoted(text.substr(other, 1)) + " in place " +
                   std::to_string(other + 1) + ", where only 0 and 1 may stand");
        else
            compare(each.key, idsOf(text, '1'), inString);
    }

    void checkRestrictions(int purpose) {
        std::map<int, IdSet> inString;
        for (const tcf::Restriction &each : string_.publisherRestrictions)
            if (each.purpose == purpose)
                inString[static_cast<int>(each.type)] = each.vendors;
        const std::string key = "IABTCF_PublisherRestrictions" + std::to_string(purpose);
        const ordered_json value = take(key, !inString.empty(), false);
        if (value.is_null())
            return;
        const auto &text = value.get_ref<const std::string &>();
        for (int type = 0; type <= 2; ++type)
            compare(key + ", restriction " + std::to_string(type) + ",",
                    idsOf(text, static_cast<char>('0' + type)), inString[type]);
    }

    void report() {
        if (present_ == 0)
            findings_.ok("consent.companions", "no companion key is stored beside the string");
        else if (!missing_.empty())
            findings_.warn("consent.companions",
                           "these companion keys of the string are missing: " + missing_, remedy);
        else if (different_ == 0)
            findings_.ok("consent.companions", "the " + std::to_string(present_) +
                                                   " companion keys say the same as the string");
    }

    const TCFString &string_;
    Findings &findings_;
    std::string missing_;
    int present_ = 0;
    int different_ = 0;
};

} // namespace

void checkCompanions(const Subject &subject, Findings &findings) {
    if (!subject.isStoreRead)
        return;
    const auto string = storedString(version2Key);
    if (string && string->version == 2)
        Companions(*string, findings).check();
}

} // namespace velmora::doctor
