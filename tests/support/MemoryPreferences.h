#pragma once

#include "platform/Mutex.h"
#include "platform/Preferences.h"
#include "platform/PreferencesObservers.h"
#include "support/RecordingLog.h"

#include <functional>
#include <mutex>
#include <vector>

namespace vmr::test {

/// A store without a file, with the observing rules of the real one.
class MemoryPreferences final : public Preferences {
public:
    Value objectForKey(std::string_view key) const override;
    void setObject(const Value &value, std::string_view key) override;
    void removeObjectForKey(std::string_view key) override;
    std::unique_ptr<Transaction> transaction() override;
    std::vector<std::string> keys() const override;
    bool synchronizeWithin(std::chrono::milliseconds patience) override;
    void addObserver(std::weak_ptr<KeyValueObserver> observer, std::string_view keyPath,
                     void *context) override;
    void removeObserver(const KeyValueObserver *observer, std::string_view keyPath) override;

    int synchronizations() const;
    /// What another thread does just before the next write.
    std::function<void()> beforeNextWrite;

private:
    Value put(const Value &value, std::string_view key);
    void notify(std::string_view key, const Value &before, const Value &after);

    std::recursive_mutex turn_;
    PreferencesObservers observers_{std::make_shared<RecordingLog>()};
    mutable Mutex mutex_;
    Dictionary values_ VMR_GUARDED_BY(mutex_);
    int synchronizations_ VMR_GUARDED_BY(mutex_) = 0;
};

} // namespace vmr::test
