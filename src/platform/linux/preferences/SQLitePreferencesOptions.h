#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vmr {

class Clock;
class SystemLog;

/// What the main run loop does for the preferences. Each may be called from any thread; empty ones
/// leave their service out.
struct PreferencesLoop {
    /// Calls the function on the main run loop while the descriptor is readable.
    std::function<void(int descriptor, std::function<void()> readable)> watchDescriptor;
    /// Undoes it, before the descriptor is closed.
    std::function<void(int descriptor)> unwatchDescriptor;
    /// Runs the function on the main run loop after some seconds, without counting as a delayed
    /// call.
    std::function<void(double seconds, std::function<void()> work)> runLater;
};

struct SQLitePreferencesOptions {
    /// The file, named by the host; its folder must exist. Empty: the default place.
    std::string path;
    /// Names the folder in the default place. Empty: the executable's name.
    std::string bundleIdentifier;
    /// The keys whose every change is news to the process in charge of the store.
    std::vector<std::string> watchedKeys;
    /// A tool opens the file beside the program that owns it: it never checkpoints the log.
    bool isTool = false;
    /// Other users may write where the file lies, and the host knows.
    bool isShared = false;
    std::shared_ptr<SystemLog> log;
    std::shared_ptr<Clock> clock;
    PreferencesLoop loop;
};

} // namespace vmr
