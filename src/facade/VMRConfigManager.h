#pragma once

#include "platform/Value.h"

#include <cstdint>
#include <string_view>

namespace vmr {

/// Answers every tunable from one merged set: built-in defaults overlaid, key by key, with the
/// configuration that the backend last sent. Safe from any thread; a read after a save sees the
/// saved values.
class VMRConfigManager {
public:
    VMRConfigManager() = delete;

    static Dictionary defaultConfig();
    /// The saved configuration, or absent.
    static Value savedConfiguration();
    /// Saves the configuration whole; an absent one makes the defaults apply again.
    static void setSavedConfiguration(const Value &configuration);
    /// What is stored may be another one from now on.
    static void forget();
    /// The merged set.
    static Dictionary actualConfiguration();
    /// The number stored under the key, else 0.
    static std::int64_t integerConfigValueForKey(std::string_view key);
    /// What every decision to send is made of: a date as it is stored, how long ago it is, and the
    /// interval under the key, all in seconds.
    struct Pace {
        Value date;
        double elapsed;
        double interval;
        bool isDue() const { return elapsed > interval; }
    };
    static Pace paceSince(Value date, std::string_view intervalKey, Date now);
    /// Whether the number stored under the key is not 0; false when it is no number.
    static bool boolConfigValueForKey(std::string_view key);
    /// The host's "VMRLogsEnabled" switch, read afresh on every call.
    static bool publicDebugLogsEnabled();
};

} // namespace vmr
