#include "ingest/ItemCheck.h"

#include "Digest.h"
#include "ingest/JsonText.h"
#include "ingest/TextForms.h"

#include <algorithm>
#include <map>

namespace velmora::ingest {
namespace {

using nlohmann::json;

void checkKeys(const json &item, std::initializer_list<std::string_view> known,
               Problems &problems) {
    for (const auto &entry : item.items())
        if (std::ranges::find(known, entry.key()) == known.end())
            problems.push_back(inQuotes(entry.key()) + " does not belong in this item");
}

void checkDate(const json &item, const char *key, Problems &problems) {
    if (!item.contains(key))
        return;
    const json &date = item[key];
    if (!date.is_string())
        problems.push_back("\"" + std::string(key) + "\" is " + typeInWords(date) +
                           " instead of a string");
    else if (!isDateText(date.get_ref<const std::string &>()))
        problems.push_back("\"" + std::string(key) +
                           "\" is not a date of the form 2021-03-04 15:06:07 +0100");
}

Problems checkConsent(const json &item) {
    Problems problems;
    if (!item.is_object())
        return {"the item is " + typeInWords(item) + " instead of an object"};
    checkKeys(item, {"consentString", "localDate", "eventId"}, problems);
    if (!item.contains("consentString"))
        problems.emplace_back("\"consentString\" is missing");
    checkDate(item, "localDate", problems);
    if (!item.contains("eventId"))
        problems.emplace_back("\"eventId\" is missing");
    else if (!item["eventId"].is_string() ||
             !isLowerHexadecimal(item["eventId"].get_ref<const std::string &>(), 64))
        problems.emplace_back("\"eventId\" is not 64 lower-case hexadecimal digits");
    return problems;
}

Problems checkError(const json &item) {
    Problems problems;
    if (!item.is_object())
        return {"the item is " + typeInWords(item) + " instead of an object"};
    checkKeys(item, {"exception", "message", "timestamp", "stacktrace", "metadata"}, problems);
    for (const char *key : {"exception", "message", "stacktrace"})
        if (item.contains(key) && (!item[key].is_string() || item[key].get<std::string>().empty()))
            problems.push_back("\"" + std::string(key) + "\" is not a string with something in it");
    checkDate(item, "timestamp", problems);
    if (item.contains("metadata") && !item["metadata"].is_object())
        problems.push_back("\"metadata\" is " + typeInWords(item["metadata"]) +
                           " instead of an object");
    return problems;
}

/// It is hashed for each item.
constexpr std::size_t longestIdentifier = 1024;
constexpr const char *absentDate = "(null)";

/// The part of an identifier's source that is hashed.
std::string_view untilNul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

std::string_view textOr(const json &item, const char *key, std::string_view otherwise) {
    const auto entry = item.find(key);
    return entry == item.end() ? otherwise : entry->get_ref<const std::string &>();
}

/// Compares the identifiers of the items that are sound in themselves.
void checkIds(const json &batch, const std::string &identifier, std::vector<Problems> &problems) {
    using Content = std::pair<std::string_view, std::string_view>;
    std::map<Content, std::string_view> idOfContent;
    std::map<std::string_view, Content> contentOfId;
    std::vector<std::size_t> madeWithIdentifier;
    std::vector<std::size_t> madeWithAnother;
    for (std::size_t i = 0; i < batch.size(); ++i) {
        const json &item = batch[i];
        // How another kind of value is written in an identifier's source only the SDK knows.
        if (!problems[i].empty() ||
            !(item["consentString"].is_string() || item["consentString"].is_null()))
            continue;
        const std::string_view id = item["eventId"].get_ref<const std::string &>();
        (isMadeWith(item, identifier) ? madeWithIdentifier : madeWithAnother).push_back(i);

        // An absent and a removed string look alike here and have two identifiers.
        if (item["consentString"].is_null())
            continue;
        const std::string_view consent = item["consentString"].get_ref<const std::string &>();
        const bool isCut = consent.find('\0') != std::string_view::npos;
        const Content content{untilNul(consent),
                              isCut ? std::string_view() : textOr(item, "localDate", absentDate)};
        if (idOfContent.emplace(content, id).first->second != id)
            problems[i].emplace_back("\"eventId\" differs from that of an equal item");
        if (contentOfId.emplace(id, content).first->second != content)
            problems[i].emplace_back("\"eventId\" is that of a different item");
    }
    if (!madeWithIdentifier.empty())
        for (const std::size_t i : madeWithAnother)
            problems[i].emplace_back("\"eventId\" was not made with \"uuid\", this string and "
                                     "this date, but other items' were");
}

} // namespace

bool isMadeWith(const json &item, const std::string &identifier) {
    if (identifier.size() > longestIdentifier)
        return false;
    const std::string &id = item["eventId"].get_ref<const std::string &>();
    const std::string_view date = textOr(item, "localDate", absentDate);
    const auto isMadeOf = [&](std::string_view text) {
        std::string source;
        source.reserve(identifier.size() + text.size() + date.size() + 2);
        source.append(identifier).append(";").append(text).append(";").append(date);
        return id == sha256Text(untilNul(source));
    };
    const json &consent = item["consentString"];
    if (consent.is_null()) // it was absent, or was removed while the application ran
        return isMadeOf(absentDate) || isMadeOf("<null>");
    return consent.is_string() && isMadeOf(consent.get_ref<const std::string &>());
}

std::vector<Problems> checkItems(Kind kind, const json &batch, const std::string &identifier) {
    std::vector<Problems> problems;
    for (const json &item : batch)
        problems.push_back(kind == Kind::Consents ? checkConsent(item) : checkError(item));
    if (kind == Kind::Consents)
        checkIds(batch, identifier, problems);
    return problems;
}

} // namespace velmora::ingest
