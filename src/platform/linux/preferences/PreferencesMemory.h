#pragma once

#include "platform/Mutex.h"
#include "platform/linux/preferences/PreferencesRows.h"

#include <atomic>
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
    /// handed over is written down for the process in charge of the store as well.
    Value put(std::string_view key, const Value &value, bool isHandedOver = false);
    /// What this process would hand over, and handles itself when it is in charge of the store.
    std::vector<PreferencesChange> ownHandovers() const;
    /// The oldest of its own, or what another process has handed over, is seen to.
    void handled(const PreferencesChange &handover);

    /// A thread that could not wait for the store begins and ends to change the memory. Until none
    /// is doing so, `unwritten` gives nothing, for it would give a part of what such a one sets.
    void beginBeside() { ++beside_; }
    void endBeside() { --beside_; }

    struct Unwritten {
        Dictionary changes; ///< absent values remove
        std::vector<PreferencesChange> handovers;
        std::vector<std::int64_t> handled;
        bool empty() const { return changes.empty() && handovers.empty() && handled.empty(); }
    };
    /// What can be written now.
    Unwritten unwritten() const;
    bool hasUnwritten() const;
    bool isUnwritten(std::string_view key) const;
    /// Everything is to be written again: the lists of records, and what else there is.
    void writeAnew(bool others = true, bool lists = true);
    /// What was taken from `unwritten` stands in the file now.
    void written(const Unwritten &done);
    /// Takes over what the file holds, except where this process has something to write, and adds
    /// what that changes to what is to be told, unless it is said there already. A whole file lacks
    /// what is not in `rows`.
    void adopt(const PreferencesRows &rows, bool isWhole, std::vector<PreferencesChange> &told);

private:
    mutable Mutex mutex_;
    Dictionary values_ VMR_GUARDED_BY(mutex_);
    Unwritten unwritten_ VMR_GUARDED_BY(mutex_);
    std::atomic<int> beside_{0};
};

} // namespace vmr
