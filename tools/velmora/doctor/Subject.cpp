#include "doctor/Subject.h"

#include "StoredValue.h"

#include <VelmoraKit/velmora.h>

#include <curl/curl.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>

namespace velmora::doctor {
namespace {

constexpr std::uintmax_t longestInfoFile = std::uintmax_t{1024} * 1024;

using Text = std::unique_ptr<char, decltype(&velmora_free)>;
using URLParser = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

const char *pointer(const std::optional<std::string> &text) {
    return text ? text->c_str() : nullptr;
}

/// The file's JSON object; nothing when there is none to be had, which is then a finding.
std::optional<std::string> readInfoFile(const std::string &path, Findings &findings) {
    const auto fail = [&](const std::string &problem, const char *remedy) {
        findings.fail("bundle.info", path + " is not used: " + problem, remedy);
        return std::nullopt;
    };
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return fail(error ? error.message() : "it is not a regular file",
                    "put Info.json beside the application's executable");
    if (std::filesystem::file_size(path, error) > longestInfoFile)
        return fail("it is longer than 1 MiB", "leave out what the SDK does not need");
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file)
        return fail("it cannot be read", "let the application's user read it: chmod a+r");
    const auto json = nlohmann::json::parse(content.str(), nullptr, false);
    if (!json.is_object())
        return fail("it does not hold a JSON object",
                    "write it like {\"CFBundleIdentifier\": \"com.example.app\"}");
    findings.ok("bundle.info", path + " can be read");
    return std::move(content).str();
}

/// What the SDK logs, from whatever thread.
struct Lines {
    std::mutex mutex;
    std::vector<std::string> lines;
};

void keepLine(const char *line, size_t length, void *context) {
    auto &kept = *static_cast<Lines *>(context);
    const std::lock_guard<std::mutex> lock(kept.mutex);
    kept.lines.emplace_back(line, length);
}

std::vector<std::string> linesOf(Lines &kept) {
    const std::lock_guard<std::mutex> lock(kept.mutex);
    return kept.lines;
}

std::string part(CURLU *url, CURLUPart which, unsigned flags = 0) {
    char *text = nullptr;
    if (curl_url_get(url, which, &text, flags) != CURLUE_OK)
        return {};
    const std::unique_ptr<char, decltype(&curl_free)> owned(text, curl_free);
    return text;
}

std::optional<Service> serviceAt(const nlohmann::json &ingest) {
    if (!ingest["refusal"].is_null())
        return std::nullopt;
    Service service;
    service.address = textOf(ingest["address"]);
    const URLParser url(curl_url(), curl_url_cleanup);
    if (curl_url_set(url.get(), CURLUPART_URL, service.address.c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    service.scheme = part(url.get(), CURLUPART_SCHEME);
    service.host = part(url.get(), CURLUPART_HOST);
    if (service.host.starts_with('['))
        service.host = service.host.substr(1, service.host.size() - 2);
    service.port = part(url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
    return service;
}

/// The SDK takes away other users' right to read the files it opens, which a look must not do.
bool mayOthersRead(const std::string &path) {
    for (const char *companion : {"", "-wal", "-shm"}) {
        struct stat status {};
        if (::stat((path + companion).c_str(), &status) == 0 &&
            (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
            return true;
    }
    return false;
}

void openStore(Subject &subject) {
    const nlohmann::json &store = subject.sdk["store"];
    if (subject.storePath.empty() || !store["exists"].get<bool>() || !store["trouble"].is_null())
        return;
    if (mayOthersRead(subject.storePath)) {
        subject.storeNotRead =
            "other users may read " + subject.storePath + ", which the SDK ends when it opens it";
        return;
    }
    storedValue("IABTCF_TCString"); // what the SDK has to say about the file, it says now
    subject.isStoreRead = true;
}

} // namespace

std::string textOf(const nlohmann::json &entry) {
    return entry.is_string() ? entry.get<std::string>() : std::string();
}

std::optional<Subject> examine(const Given &given, Findings &findings) {
    static Lines &lines = *new Lines; // until the process ends
    std::optional<std::string> information;
    if (given.infoFile)
        information = readInfoFile(*given.infoFile, findings);

    velmora_options options;
    velmora_options_init(&options, sizeof options);
    options.store_path = pointer(given.store);
    options.store_companion = 1;
    options.shared_folder = given.sharedFolder ? 1 : 0;
    options.bundle_identifier = pointer(given.bundleId);
    options.app_version = pointer(given.appVersion);
    options.information_dictionary = pointer(information);
    options.ingest_base_address = pointer(given.ingest);
    options.certificate_authority_file = pointer(given.certificateAuthorityFile);
    options.pinned_public_key = pointer(given.pinnedPublicKey);
    options.system_version = pointer(given.systemVersion);
    options.tracking_status = given.trackingStatus;
    options.legacy_tracking = given.legacyTracking ? 1 : 0;
    options.allow_proxy = given.allowProxy ? 1 : 0;
    options.log_callback = keepLine;
    options.log_context = &lines;
    char *json = nullptr;
    if (velmora_configure(&options) != VELMORA_OK || velmora_diagnose_json(&json) != VELMORA_OK) {
        findings.fail("options", velmora_last_error_message(),
                      "give the option as the message says; nothing else was checked");
        return std::nullopt;
    }
    const Text owned(json, velmora_free);
    Subject subject;
    subject.given = given;
    subject.sdk = nlohmann::json::parse(json);
    // Without an identifier the default place is named after the program: this one here.
    if (given.store || !subject.sdk["bundle"]["identifier"].is_null())
        subject.storePath = textOf(subject.sdk["store"]["path"]);
    subject.service = serviceAt(subject.sdk["ingest"]);
    openStore(subject);
    subject.log = linesOf(lines);
    return subject;
}

} // namespace velmora::doctor
