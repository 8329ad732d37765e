#pragma once

#include "platform/Mutex.h"
#include "platform/linux/preferences/PreferencesRows.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vmr {

/// What the process holds under each key, and what of it the file does not have yet. Safe from any
/// thread. In a forked child it works as far as no thread of the parent was inside it at the fork;
/// else it seems empty.
class PreferencesMemory {
public:
    Value get(std::string_view key) const;
    std::vector<std::string> keys() const;
    /// Puts what is to be written; an absent value removes the key. Gives what was there. What is
    /// handed over is written down for the process that works the store as well.
    Value put(std::string_view key, const Value &value, bool isHandedOver = false);
    /// What this process would have handed over, and now sees to itself.
    std::vector<PreferencesChange> takeHandovers();
    /// What other processes have handed over is seen to, up to that number.
    void handled(std::int64_t handover);

    struct Unwritten {
        Dictionary changes; ///< absent values remove
        std::vector<PreferencesChange> handovers;
        std::int64_t handled = 0;
        bool empty() const { return changes.empty() && handovers.empty() && handled == 0; }
    };
    Unwritten unwritten() const;
    bool hasUnwritten() const;
    bool isUnwritten(std::string_view key) const;
    /// Everything is to be written again, the lists of records if it is said.
    void writeAnew(bool withLists = true);
    /// What was taken from `unwritten` stands in the file now.
    void written(const Unwritten &done);
    /// Takes over what the file holds, except where this process has something to write. A whole
    /// file lacks what is not in `rows`. What `told` says is no news.
    std::vector<PreferencesChange> adopt(const PreferencesRows &rows, bool isWhole,
                                         const std::vector<PreferencesChange> &told);

private:
    mutable Mutex mutex_;
    Dictionary values_ VMR_GUARDED_BY(mutex_);
    Unwritten unwritten_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
