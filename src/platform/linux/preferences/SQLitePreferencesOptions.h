#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace vmr {

class ServiceLoop;
class SystemLog;

struct SQLitePreferencesOptions {
    /// The file, named by the host; its folder must exist. Empty: the default place.
    std::string path;
    /// Names the folder in the default place. Empty: the executable's name.
    std::string bundleIdentifier;
    /// The keys whose every change is news to the process in charge of the store.
    std::span<const std::string_view> watchedKeys;
    /// A tool opens the file beside the program that owns it: it never checkpoints the log.
    bool isTool = false;
    /// Other users may write where the file lies, and the host knows.
    bool isShared = false;
    std::shared_ptr<SystemLog> log;
    std::shared_ptr<ServiceLoop> loop;
};

} // namespace vmr
