#pragma once

#include "platform/Mutex.h"
#include "platform/linux/preferences/PreferencesFile.h"

#include <unistd.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vmr {

struct PreferencesDifference {
    std::string key;
    Value before;
    Value after;
};

/// What the process holds under each key, and what of it the file does not have yet. Safe from any
/// thread. In a forked child it works as far as no thread of the parent was inside it at the fork;
/// else it seems empty.
class PreferencesMemory {
public:
    Value get(std::string_view key) const;
    std::vector<std::string> keys() const;
    /// Puts the value, to be written; absent removes the key. Gives what was there.
    Value put(std::string_view key, const Value &value, std::optional<PreferencesColumn> column);

    struct Unwritten {
        std::vector<PreferencesChange> changes;
        std::vector<std::uint64_t> turns;
    };
    Unwritten unwritten() const;
    bool hasUnwritten() const;
    /// Everything is to be written again.
    void writeAnew();
    /// What was taken from `unwritten` stands in the file now.
    void written(const Unwritten &done);
    /// Takes over what another process wrote, except where this process has something to write.
    std::vector<PreferencesDifference> adopt(const std::vector<PreferencesChange> &changes);

private:
    struct Turn {
        std::optional<PreferencesColumn> column;
        std::uint64_t number;
    };

    const pid_t process_ = ::getpid();
    mutable Mutex mutex_;
    Dictionary values_ VMR_GUARDED_BY(mutex_);
    std::map<std::string, Turn, std::less<>> unwritten_ VMR_GUARDED_BY(mutex_);
    std::uint64_t turns_ VMR_GUARDED_BY(mutex_) = 0;
};

} // namespace vmr
