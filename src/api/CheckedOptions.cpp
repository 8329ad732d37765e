#include "api/CheckedOptions.h"

#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Refusal.h"
#include "platform/JSON.h"
#include "platform/UUID.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
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
    const auto json = optionalText(given, VELMORA_MAX_VALUE_LENGTH, name);
    if (!json)
        return std::nullopt;
    const auto read = readJSON(*json);
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

/// An entry of the information dictionary, which wins over what that says.
void putEntry(LinuxOptions &options, std::string_view key, const char *given,
              std::string_view name) {
    if (auto entry = text(given, name))
        put(options.informationEntries, key, Value::string(*std::move(entry)));
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

/// What takes the member, which it knows as `given`, and its `name`.
#define VMR_TAKE(member, ...)                                                                      \
    [](LinuxOptions &options, const velmora_options &all, std::string_view name) {                 \
        const auto &given = all.member;                                                            \
        __VA_ARGS__;                                                                               \
    }
#define VMR_TEXT(member, ...)                                                                      \
    { #member, &velmora_options::member, nullptr, VMR_TAKE(member, __VA_ARGS__) }
#define VMR_NUMBER(member, ...)                                                                    \
    { #member, nullptr, &velmora_options::member, VMR_TAKE(member, __VA_ARGS__) }

constexpr Option table[] = {
    VMR_TEXT(store_path, options.storePath = path(given, name)),
    VMR_TEXT(bundle_identifier, options.bundleIdentifier = line(given, name)),
    VMR_TEXT(app_version, putEntry(options, "CFBundleShortVersionString", given, name)),
    VMR_TEXT(information_dictionary,
             options.informationDictionary = informationDictionary(given, name)),
    VMR_TEXT(ingest_base_address, putEntry(options, "VMRIngestBaseAddress", given, name)),
    VMR_TEXT(system_version, options.systemVersion = systemVersion(given, name)),
    VMR_TEXT(identifier_for_vendor, options.identifierForVendor = uuid(given, name)),
    VMR_TEXT(advertising_identifier, options.advertisingIdentifier = uuid(given, name)),
    VMR_NUMBER(tracking_status, options.trackingAuthorizationStatus = trackingStatus(given, name)),
    VMR_NUMBER(legacy_tracking, options.advertisingTrackingEnabled = requireFlag(given, name)),
    VMR_TEXT(certificate_authority_file, options.http.certificateAuthorityFile = path(given, name)),
    VMR_TEXT(pinned_public_key, options.http.pinnedPublicKey = pinnedKeys(given, name)),
    VMR_NUMBER(allow_proxy, options.http.allowProxy = requireFlag(given, name)),
    VMR_NUMBER(store_companion, options.storeCompanion = requireFlag(given, name)),
    VMR_NUMBER(keep_unsent, options.keepUnsent = requireFlag(given, name)),
    VMR_NUMBER(shared_folder, options.sharedFolder = requireFlag(given, name)),
};

} // namespace

const Option *findOption(std::string_view name) {
    const auto *const found = std::ranges::find(table, name, &Option::name);
    return found != std::end(table) ? found : nullptr;
}

LinuxOptions checkedOptions(const velmora_options &given) {
    LinuxOptions options;
    for (const Option &one : table)
        one.take(options, given, one.name);
    options.logSink = logSink(given);
    return options;
}

} // namespace vmr::api
