#pragma once

#include "platform/Platform.h"
#include "platform/SystemLog.h"
#include "platform/Value.h"
#include "platform/linux/http/CurlOptions.h"
#include "platform/linux/http/HostTransport.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vmr {

class Activity;
class HostHTTPSession;
class LinuxRunLoops;
class SQLitePreferences;

/// What a host says before the start call; everything has a default.
struct LinuxOptions {
    /// The preferences file; default: the user's state directory, a folder per bundle identifier.
    std::optional<std::string> storePath;
    /// Whether this process only looks at another process's preferences file and leaves its upkeep
    /// to that process.
    bool storeCompanion = false;
    /// Whether that file may lie where other users can write.
    bool sharedFolder = false;
    /// The keys that the SDK observes: the process in charge of the store learns of every
    /// change.
    std::span<const std::string_view> watchedKeys;
    /// Bundle identifier and information dictionary; default: Info.json beside the executable.
    std::optional<std::string> bundleIdentifier;
    std::optional<Dictionary> informationDictionary;
    /// Single entries that replace those of the information dictionary, wherever it comes from.
    Dictionary informationEntries;
    /// Overrides of what the machine says.
    std::optional<std::string> systemVersion;
    std::optional<std::string> identifierForVendor;
    std::optional<std::string> advertisingIdentifier;
    std::uint64_t trackingAuthorizationStatus = 0;
    bool advertisingTrackingEnabled = false;
    bool keepUnsent = false;
    CurlOptions http;
    /// What sends the requests instead of libcurl, if it can start one.
    HostTransport transport;
    /// Where log lines go instead of standard error; called from any thread.
    std::function<void(std::string_view line, LogLevel level)> logSink;
};

/// The Linux services, and what only the public interface needs of them beyond `Platform`. They are
/// never destroyed.
struct LinuxPlatform {
    Platform services;
    LinuxRunLoops *runLoops = nullptr;
    SQLitePreferences *preferencesFile = nullptr;
    /// Null where libcurl sends.
    HostHTTPSession *hostSession = nullptr;
    Activity *activity = nullptr;
};

/// The composition root: the one place that knows which implementation serves which interface.
/// Installs them; none is ever destroyed. Starts no thread and touches no network; the store is
/// opened when it is first used.
LinuxPlatform makeLinuxPlatform(const LinuxOptions &options);

} // namespace vmr
