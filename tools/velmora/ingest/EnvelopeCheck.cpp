#include "ingest/EnvelopeCheck.h"

#include "Text.h"
#include "ingest/JsonText.h"
#include "ingest/TextForms.h"

#include <algorithm>
#include <array>

namespace velmora::ingest {
namespace {

using nlohmann::json;

struct Entry {
    std::string_view key;
    bool isInConsents;
    bool isInErrors;
    /// Devices that do not have the value leave the entry out.
    bool mayBeMissing;
};

constexpr std::array<Entry, 10> entries = {{{"postDate", true, true, false},
                                            {"os", true, true, false},
                                            {"vmrId", false, true, false},
                                            {"uuid", true, true, false},
                                            {"uuidV", true, true, true},
                                            {"bundleId", true, true, true},
                                            {"sdkVersion", true, true, false},
                                            {"appVersion", true, true, true},
                                            {"systemVersion", true, false, false},
                                            {"deviceModel", true, false, false}}};

constexpr std::size_t longestBundleId = 256;
constexpr std::size_t longestAbout = 200;
constexpr std::string_view versionSuffix = "-Debug";

Finding about(std::string_view key, std::string text) {
    return {"envelope " + shortened(key, longestAbout), std::move(text)};
}

std::string checkForm(std::string_view key, const std::string &text) {
    if (key == "postDate" && !isDateText(text))
        return inQuotes(key) + " is not a date of the form 2021-03-04 15:06:07 +0100";
    if (key == "os" && text != "ios")
        return inQuotes(key) + " is " + inQuotes(text) + " instead of \"ios\"";
    // A platform without vendor identifiers sends an empty one.
    const bool isUUID = key == "uuid" || key == "vmrId" || (key == "uuidV" && !text.empty());
    if (isUUID && !isUUIDText(text))
        return inQuotes(key) + " is not a UUID in upper case";
    if (key == "bundleId" && utf16Length(text) > longestBundleId)
        return inQuotes(key) + " is longer than 256 characters";
    if (key == "sdkVersion" &&
        (!text.ends_with(versionSuffix) || text.size() != 6 + versionSuffix.size()))
        return inQuotes(key) + " is not six characters and \"-Debug\"";
    if ((key == "systemVersion" || key == "deviceModel") && text.empty())
        return inQuotes(key) + " is empty";
    return {};
}

/// The envelope carries the end of the identifier whose whole stands in the header.
void compareBundle(const json &envelope, const std::optional<std::string> &header,
                   Findings &findings) {
    if (!header)
        return;
    if (!envelope.contains("bundleId")) {
        if (*header != "(null)")
            findings.push_back(
                about("bundleId", "\"bundleId\" is missing although X-Bundle-Identifier has it"));
        return;
    }
    const auto *id = envelope["bundleId"].get_ptr<const std::string *>();
    if (id == nullptr)
        return;
    const bool isWhole = utf16Length(*header) <= longestBundleId;
    if (isWhole ? *id != *header : !header->ends_with(*id))
        findings.push_back(about("bundleId", "\"bundleId\" does not fit X-Bundle-Identifier"));
}

} // namespace

Findings checkEnvelope(Kind kind, const json &envelope,
                       const std::optional<std::string> &bundleHeader) {
    Findings findings;
    const auto belongs = [&](const Entry &entry) {
        return kind == Kind::Consents ? entry.isInConsents : entry.isInErrors;
    };
    for (const Entry &entry : entries)
        if (belongs(entry) && !entry.mayBeMissing && !envelope.contains(entry.key))
            findings.push_back(about(entry.key, inQuotes(entry.key) + " is missing"));
    for (const auto &item : envelope.items()) {
        const auto *entry = std::find_if(entries.begin(), entries.end(), [&](const Entry &known) {
            return known.key == item.key();
        });
        std::string problem;
        if (entry == entries.end() || !belongs(*entry))
            problem = inQuotes(item.key()) + " does not belong in this envelope";
        else if (!item.value().is_string())
            problem =
                inQuotes(item.key()) + " is " + typeInWords(item.value()) + " instead of a string";
        else
            problem = checkForm(item.key(), item.value().get_ref<const std::string &>());
        if (!problem.empty())
            findings.push_back(about(item.key(), std::move(problem)));
    }
    compareBundle(envelope, bundleHeader, findings);
    return findings;
}

} // namespace velmora::ingest
