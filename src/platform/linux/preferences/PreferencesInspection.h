#pragma once

#include "platform/linux/preferences/PreferencesTrouble.h"

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace vmr {

class PreferencesRows;

/// What somebody finds who looks for the reason why a preferences file cannot be used.
struct PreferencesInspection {
    std::string path; ///< empty where there is no place for one
    bool exists = false;
    PreferencesTrouble trouble;
    /// Absent when the file could not be read or is new.
    std::optional<std::int64_t> formatVersion;
    /// The process in charge of the store; nothing where there is none.
    std::optional<pid_t> worker;
};

/// Looks at the file without changing what is stored or anybody's rights; reads all of it, like
/// any other process that uses it, and waits a moment for locks. What is missing in a place of
/// ours is no trouble: the first use makes it.
PreferencesInspection inspectPreferences(const std::string &path, bool isDefaultPlace,
                                         bool isShared);

/// The rows of a file on a file system that is mounted read-only, where SQLite cannot make what it
/// keeps beside a file; none where there is no file. Throws when the file cannot be read, or is
/// none of ours.
PreferencesRows readRowsInPlace(const std::string &path);

} // namespace vmr
