#include "errors/VMRErrorManager.h"

#include "device/Keys.h"
#include "device/Persistence.h"
#include "errors/BoundedAppend.h"
#include "facade/VMRConfigManager.h"
#include "facade/VMRDebugLog.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"

#include <stdexcept>
#include <utility>

namespace vmr {
namespace {

std::uint64_t bufferSize() {
    const bool active = VMRConfigManager::boolConfigValueForKey(VMR_CONFIG_ERRORS_POST_ACTIVATED);
    // A negative size becomes enormous on purpose: nothing is dropped then.
    return static_cast<std::uint64_t>(VMRConfigManager::integerConfigValueForKey(
        active ? VMR_CONFIG_ERRORS_ACTIVE_ARRAY_BUFFER_SIZE
               : VMR_CONFIG_ERRORS_LATENT_ARRAY_BUFFER_SIZE));
}

} // namespace

VMRErrorManager::VMRErrorManager()
    : storedLogs_(storedRecords(VMRLogsArrayKey, VMRError::ClassName)) {
    debugLog("! ! ! ! ! ! Stored errors count  ! ! ! ! ! ! !   -> %lu", storedLogs().size());
}

void VMRErrorManager::storeErrors(std::span<const std::shared_ptr<VMRError>> entries) {
    if (entries.empty())
        return;
    const std::uint64_t size = bufferSize();
    const auto whole = platform().preferences->transaction();
    storedLogs_.with([&](RecordList &stored) {
        for (const auto &entry : entries)
            addObject(stored, entry, size);
    });
    saveLogsArray();
}

void VMRErrorManager::storeError(const std::shared_ptr<VMRError> &entry) {
    if (!entry)
        throw std::invalid_argument("storeError: there is no entry to store");
    storeErrors({&entry, 1});
}

bool VMRErrorManager::shouldPostLogs() const {
    const bool active = VMRConfigManager::boolConfigValueForKey(VMR_CONFIG_ERRORS_POST_ACTIVATED);
    const Date now = platform().clock->now();
    const auto post =
        VMRConfigManager::paceSince(lastPostLogsDate(), VMR_CONFIG_ERRORS_POST_TIME_INTERVAL, now);
    const auto attempt = VMRConfigManager::paceSince(
        lastPostLogsAttemptDate(), VMR_CONFIG_ERRORS_ATTEMPT_POST_TIME_INTERVAL, now);
    const bool answer = active && post.isDue() && attempt.isDue();

    debugLog("************** Should post errors : %@ ******************", answer ? "YES" : "NO");
    debugLog("   - sending errors Activated : %@ ", active ? Value::string("true") : Value());
    debugLog("   - last send errors date    : %@ - (%ld / %f)", post.date, post.elapsed,
             post.interval);
    debugLog("   - last send errors attempt : %@ - (%ld / %f)", attempt.date, attempt.elapsed,
             attempt.interval);
    return answer;
}

void VMRErrorManager::saveLogsArray() const {
    saveCurrentRecords(storedLogs_, VMRLogsArrayKey);
}

Value storedJSON(const std::shared_ptr<VMRErrorManager> &manager,
                 const std::shared_ptr<VMRError> &entry) {
    if (!entry)
        return Value();
    if (manager)
        manager->storeError(entry);
    return Value::dictionary(entry->asJson());
}

} // namespace vmr
