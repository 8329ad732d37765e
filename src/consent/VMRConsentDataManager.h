#pragma once

#include "consent/VMRConsentEvent.h"
#include "device/Keys.h"
#include "device/Persistence.h"
#include "platform/Erasures.h"
#include "platform/Locked.h"
#include "platform/RecordList.h"
#include "platform/Value.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace vmr {

class VMRDeviceDataManager;
class VMRErrorManager;
class VMRNetworkManager;

/// Turns changes of the two consent strings into events, keeps them durably until the backend has
/// accepted them, and decides when they may be posted. Events may be stored from any thread; posts
/// are kept apart by their caller.
class VMRConsentDataManager : public std::enable_shared_from_this<VMRConsentDataManager> {
public:
    using Events = RecordsOf<VMRConsentEvent>;
    using Completion = std::function<void()>;

    /// Loads the stored events.
    VMRConsentDataManager();

    /// Compares the last known strings with the current one and stores an event for each side that
    /// differs. Whether one was stored.
    bool checkAndStoreTCStringsIfChanged();
    void storeConsentStringEvent(const Value &consentString);
    /// Records the current value of a changed key as the last known one.
    void setSavedConsentStringForKey(std::string_view key);

    bool shouldPostConsentEventDatas() const;
    bool shouldPostData() const;
    /// Posts all stored events if they are due. `completion` runs exactly once, at the latest when
    /// the backend's answer has been handled.
    void postDataWithManager(const std::shared_ptr<VMRNetworkManager> &networkManager,
                             const std::shared_ptr<VMRDeviceDataManager> &deviceManager,
                             const std::shared_ptr<VMRErrorManager> &errorManager, Date date,
                             Completion completion);

    /// Every stored event's JSON, for a debugger; made when it is called, since a start, which
    /// drops it, would spend most of its time on it.
    auto logDatas() const {
        return [events = storedConsentEvents()] { return describe(events); };
    }

    Value currentTCFv1String() const;
    Value currentTCFv2String() const;
    void saveConsentEventsArray();

    /// Oldest first.
    Events storedConsentEvents() const { return Events(storedConsentEvents_.get()); }
    std::size_t storedConsentEventCount() const { return storedConsentEvents().size(); }
    void setStoredConsentEvents(const Events &events) { storedConsentEvents_.set(events); }
    /// Events that successes have removed without having sent them.
    std::uint64_t removedUnsentCount() const { return removedUnsent_; }
    std::optional<Date> lastConsentEventStoredDate() const {
        return lastConsentEventStoredDate_.get();
    }
    void setLastConsentEventStoredDate(std::optional<Date> date) {
        lastConsentEventStoredDate_.set(date);
    }
    Value lastSendConsentDatasDate() const {
        return savedDateOrDistantPastForKey(VMRLastPostConsentDatasDateKey);
    }
    void setLastSendConsentDatasDate(const std::optional<Date> &date) {
        savePostDate(date, VMRLastPostConsentDatasDateKey);
    }
    Value lastSendConsentDatasAttemptDate() const {
        return savedDateOrDistantPastForKey(VMRLastPostConsentDatasAttemptDateKey);
    }
    void setLastSendConsentDatasAttemptDate(const std::optional<Date> &date) {
        savePostDate(date, VMRLastPostConsentDatasAttemptDateKey);
    }
    Value lastTCFv1String() const;
    void setLastTCFv1String(const Value &string);
    Value lastTCFv2String() const;
    void setLastTCFv2String(const Value &string);

private:
    static List describe(const Events &events);
    /// Stores an event unless the string is the last one known on that side. Whether it did.
    bool storeIfChanged(const Value &last, void (VMRConsentDataManager::*setLast)(const Value &));
    struct Run;
    void handlePosted(const Value &response, const Run &run);
    /// Whether everything was erased since: it stores nothing any more.
    bool isRetired() const noexcept { return madeAfter_ != erasures; }
    void savePostDate(const std::optional<Date> &date, std::string_view key) {
        if (!isRetired())
            savePresentDateForKey(date, key);
    }

    Locked<RecordList> storedConsentEvents_;
    Locked<std::optional<Date>> lastConsentEventStoredDate_;
    std::atomic<std::uint64_t> removedUnsent_{0};
    const std::uint64_t madeAfter_ = erasures;
};

} // namespace vmr
