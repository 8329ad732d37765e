#pragma once

#include "device/Keys.h"
#include "device/Persistence.h"
#include "errors/VMRError.h"
#include "platform/Locked.h"
#include "platform/RecordList.h"
#include "platform/Value.h"

#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace vmr {

/// Keeps the SDK's own error entries in a bounded list that survives restarts, and decides when
/// they may be posted. Safe from any thread; posts are kept apart by their caller.
class VMRErrorManager {
public:
    using Entries = std::vector<std::shared_ptr<VMRError>>;
    using StoredEntries = RecordsOf<VMRError>;

    /// Loads what is stored.
    VMRErrorManager();

    /// Appends and saves, within the buffer size in force; an empty list changes nothing.
    void storeErrors(std::span<const std::shared_ptr<VMRError>> entries);
    /// Throws std::invalid_argument when there is no entry.
    void storeError(const std::shared_ptr<VMRError> &entry);

    bool shouldPostLogs() const;
    void saveLogsArray() const;

    /// Oldest first.
    StoredEntries storedLogs() const { return StoredEntries(storedLogs_.get()); }
    void setStoredLogs(const StoredEntries &entries) { storedLogs_.set(entries); }

    Value lastPostLogsDate() const { return savedDateOrDistantPastForKey(VMRLastPostLogsDateKey); }
    void setLastPostLogsDate(const std::optional<Date> &date) {
        savePresentDateForKey(date, VMRLastPostLogsDateKey);
    }
    Value lastPostLogsAttemptDate() const {
        return savedDateOrDistantPastForKey(VMRLastPostLogsAttemptDateKey);
    }
    void setLastPostLogsAttemptDate(const std::optional<Date> &date) {
        savePresentDateForKey(date, VMRLastPostLogsAttemptDateKey);
    }

private:
    Locked<RecordList> storedLogs_;
};

/// Has the manager store the entry, where there are both. The entry's JSON for a debug line; absent
/// without one.
Value storedJSON(const std::shared_ptr<VMRErrorManager> &manager,
                 const std::shared_ptr<VMRError> &entry);

} // namespace vmr
