#include "support/MemoryPreferences.h"

#include <chrono>
#include <thread>
#include <utility>

namespace vmr::test {

Value MemoryPreferences::objectForKey(std::string_view key) const {
    const MutexLock lock(mutex_);
    return vmr::valueForKey(values_, key);
}

void MemoryPreferences::setObject(const Value &value, std::string_view key) {
    if (beforeNextWrite)
        std::exchange(beforeNextWrite, nullptr)();
    notify(key, put(value, key), value);
}

std::unique_ptr<Preferences::Transaction> MemoryPreferences::transaction() {
    // As the real store: an observer may wait for another thread that writes.
    struct Turn final : Transaction {
        explicit Turn(std::recursive_mutex &mutex) : lock(mutex, std::defer_lock) {
            const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
            while (!lock.try_lock() && std::chrono::steady_clock::now() < end)
                std::this_thread::yield();
        }
        std::unique_lock<std::recursive_mutex> lock;
    };
    return std::make_unique<Turn>(turn_);
}

void MemoryPreferences::removeObjectForKey(std::string_view key) {
    setObject(Value(), key);
}

Value MemoryPreferences::put(const Value &value, std::string_view key) {
    const MutexLock lock(mutex_);
    const Value before = vmr::valueForKey(values_, key);
    if (before.isAbsent() && value.isAbsent())
        return before;
    if (value.isAbsent())
        values_.erase(std::string(key));
    else
        values_.insert_or_assign(std::string(key), value);
    return before;
}

std::vector<std::string> MemoryPreferences::keys() const {
    const MutexLock lock(mutex_);
    std::vector<std::string> result;
    for (const auto &[key, value] : values_)
        result.push_back(key);
    return result;
}

bool MemoryPreferences::synchronizeWithin(std::chrono::milliseconds) {
    const MutexLock lock(mutex_);
    ++synchronizations_;
    return true;
}

void MemoryPreferences::addObserver(std::weak_ptr<KeyValueObserver> observer,
                                    std::string_view keyPath, void *context) {
    observers_.add(std::move(observer), keyPath, context);
}

void MemoryPreferences::removeObserver(const KeyValueObserver *observer, std::string_view keyPath) {
    observers_.remove(observer, keyPath);
}

int MemoryPreferences::synchronizations() const {
    const MutexLock lock(mutex_);
    return synchronizations_;
}

void MemoryPreferences::notify(std::string_view key, const Value &before, const Value &after) {
    if (!before.isAbsent() || !after.isAbsent())
        observers_.notify(this, key, before, after);
}

} // namespace vmr::test
