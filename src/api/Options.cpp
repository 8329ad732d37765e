#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/Refusal.h"
#include "platform/JSON.h"
#include "platform/UUID.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <list>
#include <memory>

namespace vmr::api {
namespace {

void refuseEmpty(const char *given, std::string_view name) {
    if (given != nullptr && *given == '\0')
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"%@\" is empty: give a value, or leave it out for the default", name);
}

std::optional<std::string> text(const char *given, std::string_view name) {
    refuseEmpty(given, name);
    return optionalText(given, VELMORA_MAX_OPTION_LENGTH, name);
}

std::optional<std::string> line(const char *given, std::string_view name) {
    refuseEmpty(given, name);
    return optionalLine(given, VELMORA_MAX_OPTION_LENGTH, name);
}

/// Relative ones are meant from where the host stands now, wherever it goes later.
std::optional<std::string> path(const char *given, std::string_view name) {
    std::optional<std::string> checked = text(given, name);
    if (!checked || checked->front() == '/')
        return checked;
    const std::unique_ptr<char, decltype(&std::free)> folder(::getcwd(nullptr, 0), &std::free);
    return folder ? std::string(folder.get()) + "/" + *checked : checked;
}

std::optional<std::string> uuid(const char *given, std::string_view name) {
    const std::optional<std::string> checked = text(given, name);
    if (!checked)
        return std::nullopt;
    std::optional<std::string> canonical = canonicalUUIDString(*checked);
    if (!canonical)
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"%@\" is not a UUID: give 36 characters like 6F9619FF-8B86-D011-B42D-00CF4FC964FF",
               name);
    return canonical;
}

std::optional<std::string> systemVersion(const char *given, std::string_view name) {
    std::optional<std::string> checked = text(given, name);
    if (checked && (checked->find_first_not_of("0123456789.") != std::string::npos ||
                    checked->find("..") != std::string::npos || checked->starts_with('.') ||
                    checked->ends_with('.')))
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"%@\" is not made of dotted numbers: give for instance 12.4", name);
    return checked;
}

std::optional<Dictionary> informationDictionary(const char *given, std::string_view name) {
    if (given == nullptr)
        return std::nullopt;
    const auto read = readJSON(requireText(given, VELMORA_MAX_VALUE_LENGTH, name));
    const Value *value = std::get_if<Value>(&read);
    if (value == nullptr || value->asDictionary() == nullptr)
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"%@\" is not a JSON object: give for instance {\"VMRLogsEnabled\": true}", name);
    return *value->asDictionary();
}

/// What libcurl would take for the name of a key file must be refused: it would fail every request.
std::optional<std::string> pinnedKeys(const char *given, std::string_view name) {
    constexpr std::string_view kind = "sha256//";
    constexpr std::size_t digestLength = 44;
    std::optional<std::string> checked = text(given, name);
    const std::string list = checked ? *checked + ";" : "";
    for (std::string_view rest = list; !rest.empty(); rest.remove_prefix(rest.find(';') + 1)) {
        const std::string_view key = rest.substr(0, rest.find(';'));
        const bool isDigest =
            key.size() == kind.size() + digestLength && key.starts_with(kind) &&
            key.ends_with('=') &&
            key.find_first_not_of(
                "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", kind.size()) ==
                key.size() - 1;
        if (!isDigest)
            refuse(VELMORA_INVALID_ARGUMENT,
                   "\"%@\" is not a key digest: give sha256// and the 44 characters of the digest "
                   "in base64, several joined with \";\"",
                   name);
    }
    return checked;
}

std::uint32_t trackingStatus(std::uint32_t given, std::string_view name) {
    if (given > 3)
        refuse(VELMORA_INVALID_ARGUMENT, "\"%@\" is %lu: give 0 to 3", name, given);
    return given;
}

std::function<void(std::string_view, LogLevel)> logSink(const velmora_options &given) {
    if (given.log_callback == nullptr)
        return {};
    return [callback = given.log_callback, context = given.log_context](
               std::string_view line, LogLevel) { callback(line.data(), line.size(), context); };
}

/// The options as the platform takes them. Throws a Refusal that names the member that is wrong.
LinuxOptions checkedOptions(const velmora_options &given) {
    LinuxOptions options;
    options.storePath = path(given.store_path, "store_path");
    options.bundleIdentifier = line(given.bundle_identifier, "bundle_identifier");
    putText(options.informationEntries, "CFBundleShortVersionString",
            text(given.app_version, "app_version"));
    options.informationDictionary =
        informationDictionary(given.information_dictionary, "information_dictionary");
    putText(options.informationEntries, "VMRIngestBaseAddress",
            text(given.ingest_base_address, "ingest_base_address"));
    options.systemVersion = systemVersion(given.system_version, "system_version");
    options.identifierForVendor = uuid(given.identifier_for_vendor, "identifier_for_vendor");
    options.advertisingIdentifier = uuid(given.advertising_identifier, "advertising_identifier");
    options.trackingAuthorizationStatus = trackingStatus(given.tracking_status, "tracking_status");
    options.advertisingTrackingEnabled = requireFlag(given.legacy_tracking, "legacy_tracking");
    options.http.certificateAuthorityFile =
        path(given.certificate_authority_file, "certificate_authority_file");
    options.http.pinnedPublicKey = pinnedKeys(given.pinned_public_key, "pinned_public_key");
    options.http.allowProxy = requireFlag(given.allow_proxy, "allow_proxy");
    options.storeCompanion = requireFlag(given.store_companion, "store_companion");
    options.keepUnsent = requireFlag(given.keep_unsent, "keep_unsent");
    options.sharedFolder = requireFlag(given.shared_folder, "shared_folder");
    options.logSink = logSink(given);
    return options;
}

// The structure only ever grows at its end. A host may have been built against a smaller one, whose
// missing members have their defaults, or against a larger one, as long as it leaves those members
// at their defaults that this library does not know. All defaults are zeros.
constexpr std::size_t firstSize = offsetof(velmora_options, log_context) + sizeof(void *);
constexpr std::size_t knownSize = sizeof(velmora_options);
constexpr std::size_t largestSize = 1024;

void requireSize(std::size_t size) {
    if (size < firstSize || size > largestSize)
        refuse(VELMORA_INVALID_ARGUMENT,
               "the size of velmora_options is %lu, this library knows %lu: call "
               "velmora_options_init with sizeof(velmora_options)",
               size, sizeof(velmora_options));
}

velmora_options knownPart(const velmora_options *given) {
    const std::size_t size = given->size;
    requireSize(size);
    velmora_options known{};
    std::memcpy(&known, given, std::min(size, knownSize));
    const auto *bytes = reinterpret_cast<const unsigned char *>(given);
    if (std::ranges::any_of(bytes + std::min(size, knownSize), bytes + size,
                            [](unsigned char byte) { return byte != 0; }))
        refuse(VELMORA_INVALID_ARGUMENT,
               "velmora_options has a member that this library does not know: leave it at "
               "its default, or use the library that the host was built against");
    return known;
}

std::string textOf(const Value &entry, std::string_view name) {
    if (entry.asDictionary() != nullptr && name == "information_dictionary")
        return writeJSON(entry, JSONStyle::compact);
    const std::string *text = entry.asString();
    if (text == nullptr)
        refuse(VELMORA_INVALID_ARGUMENT, "\"%@\" is not a text: give it in quotes", name);
    if (text->find('\0') != std::string::npos)
        refuse(VELMORA_INVALID_ARGUMENT, "\"%@\" holds a NUL: give the characters alone", name);
    return *text;
}

std::uint32_t numberOf(const Value &entry, std::string_view name) {
    const std::int64_t number =
        entry.asBoolean() ? std::int64_t{entry.boolValue()} : entry.asInteger().value_or(-1);
    if (number < 0)
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"%@\" is not a whole number from 0 on: give one, or false or true", name);
    constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min<std::int64_t>(number, largest));
}

/// A member that is a text or a number.
struct Member {
    std::string_view name;
    const char *velmora_options::*text;
    std::uint32_t velmora_options::*number = nullptr;
};

constexpr Member members[] = {
    {"store_path", &velmora_options::store_path},
    {"bundle_identifier", &velmora_options::bundle_identifier},
    {"app_version", &velmora_options::app_version},
    {"information_dictionary", &velmora_options::information_dictionary},
    {"ingest_base_address", &velmora_options::ingest_base_address},
    {"system_version", &velmora_options::system_version},
    {"identifier_for_vendor", &velmora_options::identifier_for_vendor},
    {"advertising_identifier", &velmora_options::advertising_identifier},
    {"tracking_status", nullptr, &velmora_options::tracking_status},
    {"legacy_tracking", nullptr, &velmora_options::legacy_tracking},
    {"certificate_authority_file", &velmora_options::certificate_authority_file},
    {"pinned_public_key", &velmora_options::pinned_public_key},
    {"allow_proxy", nullptr, &velmora_options::allow_proxy},
    {"store_companion", nullptr, &velmora_options::store_companion},
    {"keep_unsent", nullptr, &velmora_options::keep_unsent},
    {"shared_folder", nullptr, &velmora_options::shared_folder},
};

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" {

velmora_result velmora_options_init(velmora_options *options, size_t size) {
    return call(
        [&] {
            requirePointer(options, "options");
            requireSize(size);
            std::memset(static_cast<void *>(options), 0, size);
            options->size = size;
        },
        false);
}

velmora_result velmora_configure(const velmora_options *options) {
    return call([&] {
        requirePointer(options, "options");
        Host::shared().configure(checkedOptions(knownPart(options)));
    });
}

velmora_result velmora_configure_json(const char *json) {
    return call([&] {
        const Value object = requireJSON(json);
        if (object.asDictionary() == nullptr)
            refuse(VELMORA_INVALID_ARGUMENT,
                   "\"json\" is not a JSON object of options: give for instance "
                   "{\"keep_unsent\": true}");
        velmora_options given{};
        std::list<std::string> texts;
        for (const auto &[name, entry] : *object.asDictionary()) {
            const auto *const option = std::ranges::find(members, name, &Member::name);
            if (option == std::end(members))
                refuse(VELMORA_INVALID_ARGUMENT,
                       "\"%@\" is not an option: give the name of a member of velmora_options, "
                       "store_path for instance",
                       name);
            if (entry.isNull())
                continue;
            if (option->text != nullptr)
                given.*option->text = texts.emplace_back(textOf(entry, name)).c_str();
            else
                given.*option->number = numberOf(entry, name);
        }
        Host::shared().configure(checkedOptions(given));
    });
}

} // extern "C"
