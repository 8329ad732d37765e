#pragma once

#include "platform/Mutex.h"
#include "platform/linux/preferences/PreferencesRows.h"

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
    /// Puts what is to be written; without a column the key goes. Gives what was there. What is
    /// handed over is written down for the process that works the store as well.
    Value put(std::string_view key, std::optional<PreferencesColumn> column,
              bool isHandedOver = false);
    /// What other processes have handed over is seen to, up to that number.
    void handled(std::int64_t handover);

    struct Unwritten {
        std::vector<PreferencesChange> changes;
        std::vector<std::uint64_t> turns;
        std::vector<PreferencesChange> handovers;
        std::int64_t handled = 0;
        bool empty() const { return changes.empty() && handovers.empty() && handled == 0; }
    };
    Unwritten unwritten() const;
    bool hasUnwritten() const;
    bool isUnwritten(std::string_view key) const;
    /// Everything is to be written again.
    void writeAnew();
    /// What was taken from `unwritten` stands in the file now.
    void written(const Unwritten &done);
    /// Takes over what the file holds, except where this process has something to write. A whole
    /// file lacks what is not in `rows`. What `told` says is no news.
    std::vector<PreferencesDifference> adopt(const PreferencesRows &rows, bool isWhole,
                                             const std::vector<PreferencesDifference> &told);

private:
    struct Entry {
        std::optional<PreferencesColumn> column;
        std::uint64_t turn = 0; ///< 0: as in the file
    };
    using Entries = std::map<std::string, Entry, std::less<>>;

    Value valueOf(std::string_view key) const VMR_REQUIRES(mutex_);

    mutable Mutex mutex_;
    Entries entries_ VMR_GUARDED_BY(mutex_);
    std::vector<PreferencesChange> handovers_ VMR_GUARDED_BY(mutex_);
    std::int64_t handled_ VMR_GUARDED_BY(mutex_) = 0;
    std::uint64_t turns_ VMR_GUARDED_BY(mutex_) = 0;
};

} // namespace vmr
