#include "platform/linux/preferences/PreferencesMemory.h"

#include <unistd.h>

#include <utility>

namespace vmr {
namespace {

/// Takes the mutex. In a forked child, where the thread that holds it may not exist, only if it is
/// free.
bool take(Mutex &mutex, pid_t process) VMR_THREAD_ANNOTATION(try_acquire_capability(true, mutex));
bool take(Mutex &mutex, pid_t process) {
    if (::getpid() != process)
        return mutex.try_lock();
    mutex.lock();
    return true;
}

/// Holds what was taken until the end of the scope.
class VMR_THREAD_ANNOTATION(scoped_lockable) Taken {
public:
    explicit Taken(Mutex &mutex) VMR_REQUIRES(mutex) : mutex_(mutex) {}
    ~Taken() VMR_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
    Taken(const Taken &) = delete;
    Taken &operator=(const Taken &) = delete;

private:
    Mutex &mutex_;
};

} // namespace

Value PreferencesMemory::get(std::string_view key) const {
    if (!take(mutex_, process_))
        return {};
    const Taken taken(mutex_);
    return valueForKey(values_, key);
}

std::vector<std::string> PreferencesMemory::keys() const {
    std::vector<std::string> result;
    if (!take(mutex_, process_))
        return result;
    const Taken taken(mutex_);
    for (const auto &entry : values_)
        result.push_back(entry.first);
    return result;
}

Value PreferencesMemory::put(std::string_view key, const Value &value,
                             std::optional<PreferencesColumn> column) {
    Value before;
    if (!take(mutex_, process_))
        return before;
    const Taken taken(mutex_);
    const auto found = values_.find(key);
    if (found != values_.end())
        before = found->second;
    if (!value.isAbsent())
        values_.insert_or_assign(std::string(key), value);
    else if (found != values_.end())
        values_.erase(found);
    unwritten_.insert_or_assign(std::string(key), Turn{std::move(column), ++turns_});
    return before;
}

PreferencesMemory::Unwritten PreferencesMemory::unwritten() const {
    Unwritten result;
    const MutexLock lock(mutex_);
    for (const auto &[key, turn] : unwritten_) {
        result.changes.push_back({key, turn.column});
        result.turns.push_back(turn.number);
    }
    return result;
}

bool PreferencesMemory::hasUnwritten() const {
    const MutexLock lock(mutex_);
    return !unwritten_.empty();
}

void PreferencesMemory::writeAnew() {
    const MutexLock lock(mutex_);
    for (const auto &[key, value] : values_) {
        if (!unwritten_.contains(key))
            unwritten_.emplace(key, Turn{PreferencesColumn::encode(value), ++turns_});
    }
}

void PreferencesMemory::written(const Unwritten &done) {
    const MutexLock lock(mutex_);
    for (std::size_t i = 0; i < done.changes.size(); ++i) {
        const auto found = unwritten_.find(done.changes[i].key);
        if (found != unwritten_.end() && found->second.number == done.turns[i])
            unwritten_.erase(found);
    }
}

std::vector<PreferencesDifference>
PreferencesMemory::adopt(const std::vector<PreferencesChange> &changes) {
    std::vector<PreferencesDifference> result;
    const MutexLock lock(mutex_);
    for (const auto &[key, column] : changes) {
        if (unwritten_.contains(key))
            continue;
        Value after = column ? column->value() : Value();
        Value before = valueForKey(values_, key);
        if (before.type() == after.type() && before.isEqualTo(after))
            continue;
        if (after.isAbsent())
            values_.erase(key);
        else
            values_.insert_or_assign(key, after);
        result.push_back({key, std::move(before), std::move(after)});
    }
    return result;
}

} // namespace vmr
