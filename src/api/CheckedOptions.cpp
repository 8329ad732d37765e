#include "api/CheckedOptions.h"

#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Refusal.h"
#include "platform/JSON.h"
#include "platform/UUID.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace vmr::api {
namespace {

std::optional<std::string> unlessEmpty(std::optional<std::string> given, std::string_view name) {
    if (given && given->empty())
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"%@\" is empty: give a value, or leave it out for the default", name);
    return given;
}

std::optional<std::string> text(const char *given, std::string_view name) {
    return unlessEmpty(optionalText(given, VELMORA_MAX_OPTION_LENGTH, name), name);
}

std::optional<std::string> line(const char *given, std::string_view name) {
    return unlessEmpty(optionalLine(given, VELMORA_MAX_OPTION_LENGTH, name), name);
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

std::optional<std::string> systemVersion(const char *given) {
    std::optional<std::string> checked = text(given, "system_version");
    if (checked && (checked->find_first_not_of("0123456789.") != std::string::npos ||
                    checked->find("..") != std::string::npos || checked->starts_with('.') ||
                    checked->ends_with('.')))
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"system_version\" is not made of dotted numbers: give for instance 12.4");
    return checked;
}

std::optional<Dictionary> informationDictionary(const char *given) {
    const auto json = optionalText(given, VELMORA_MAX_VALUE_LENGTH, "information_dictionary");
    if (!json)
        return std::nullopt;
    const auto read = readJSON(*json);
    const Value *value = std::get_if<Value>(&read);
    if (value == nullptr || value->asDictionary() == nullptr)
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"information_dictionary\" is not a JSON object: give for instance "
               "{\"VMRLogsEnabled\": true}");
    return *value->asDictionary();
}

/// What libcurl would take for the name of a key file must be refused: it would fail every request.
std::optional<std::string> pinnedKeys(const char *given) {
    constexpr std::string_view name = "pinned_public_key";
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
                   "\"pinned_public_key\" is not a key digest: give sha256// and the 44 "
                   "characters of the digest in base64, several joined with \";\"");
    }
    return checked;
}

Dictionary informationEntries(const velmora_options &given) {
    Dictionary entries;
    if (auto version = text(given.app_version, "app_version"))
        put(entries, "CFBundleShortVersionString", Value::string(*std::move(version)));
    if (auto address = text(given.ingest_base_address, "ingest_base_address"))
        put(entries, "VMRIngestBaseAddress", Value::string(*std::move(address)));
    return entries;
}

std::function<void(std::string_view, LogLevel)> logSink(const velmora_options &given) {
    if (given.log_callback == nullptr)
        return {};
    return [callback = given.log_callback, context = given.log_context](
               std::string_view line, LogLevel) { callback(line.data(), line.size(), context); };
}

} // namespace

LinuxOptions checkedOptions(const velmora_options &given) {
    LinuxOptions options;
    options.storePath = path(given.store_path, "store_path");
    options.bundleIdentifier = line(given.bundle_identifier, "bundle_identifier");
    options.informationDictionary = informationDictionary(given.information_dictionary);
    options.informationEntries = informationEntries(given);
    options.systemVersion = systemVersion(given.system_version);
    options.identifierForVendor = uuid(given.identifier_for_vendor, "identifier_for_vendor");
    options.advertisingIdentifier = uuid(given.advertising_identifier, "advertising_identifier");
    if (given.tracking_status > 3)
        refuse(VELMORA_INVALID_ARGUMENT, "\"tracking_status\" is %lu: give 0 to 3",
               given.tracking_status);
    options.trackingAuthorizationStatus = given.tracking_status;
    options.advertisingTrackingEnabled = requireFlag(given.legacy_tracking, "legacy_tracking");
    options.http.certificateAuthorityFile =
        path(given.certificate_authority_file, "certificate_authority_file");
    options.http.pinnedPublicKey = pinnedKeys(given.pinned_public_key);
    options.http.allowProxy = requireFlag(given.allow_proxy, "allow_proxy");
    options.storeCompanion = requireFlag(given.store_companion, "store_companion");
    options.keepUnsent = requireFlag(given.keep_unsent, "keep_unsent");
    options.sharedFolder = requireFlag(given.shared_folder, "shared_folder");
    options.logSink = logSink(given);
    return options;
}

} // namespace vmr::api
