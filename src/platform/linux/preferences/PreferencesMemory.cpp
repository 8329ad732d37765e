#include "platform/linux/preferences/PreferencesMemory.h"

#include "platform/linux/ForkedChild.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace vmr {
namespace {

/// Takes the mutex. In a forked child, where the thread that holds it may not exist, only if it is
/// free.
bool take(Mutex &mutex) VMR_THREAD_ANNOTATION(try_acquire_capability(true, mutex));
bool take(Mutex &mutex) {
    if (isForkedChild())
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

/// Lists are told apart by their records, so that nobody makes their bytes for that.
bool areSame(const Value &left, const Value &right) {
    if (left.type() != right.type())
        return false;
    const RecordList *older = recordsOf(left);
    const RecordList *newer = recordsOf(right);
    if (older == nullptr || newer == nullptr)
        return left.isEqualTo(right);
    return older->size() == newer->size() && newer->restOf(*older).kept == newer->size();
}

void replace(Dictionary &values, const std::string &key, const Value &value) {
    if (value.isAbsent())
        values.erase(key);
    else
        values.insert_or_assign(key, value);
}

} // namespace

Value PreferencesMemory::get(std::string_view key) const {
    if (!take(mutex_))
        return {};
    const Taken taken(mutex_);
    return valueForKey(values_, key);
}

std::vector<std::string> PreferencesMemory::keys() const {
    std::vector<std::string> result;
    if (!take(mutex_))
        return result;
    const Taken taken(mutex_);
    for (const auto &[key, value] : values_)
        result.push_back(key);
    return result;
}

Value PreferencesMemory::put(std::string_view name, const Value &value, bool isHandedOver) {
    if (!take(mutex_))
        return {};
    const Taken taken(mutex_);
    const std::string key(name);
    Value before = valueForKey(values_, key);
    if (isHandedOver && !(value.isAbsent() && before.isAbsent()))
        unwritten_.handovers.push_back({key, before, value});
    unwritten_.changes.insert_or_assign(key, value);
    replace(values_, key, value);
    return before;
}

std::vector<PreferencesChange> PreferencesMemory::ownHandovers() const {
    const MutexLock lock(mutex_);
    return unwritten_.handovers;
}

void PreferencesMemory::handled(const PreferencesChange &handover) {
    const MutexLock lock(mutex_);
    if (handover.number)
        unwritten_.handled.push_back(*handover.number);
    else
        unwritten_.handovers.erase(unwritten_.handovers.begin());
}

PreferencesMemory::Unwritten PreferencesMemory::unwritten() const {
    const MutexLock lock(mutex_);
    return beside_ == 0 ? unwritten_ : Unwritten();
}

bool PreferencesMemory::hasUnwritten() const {
    const MutexLock lock(mutex_);
    return !unwritten_.empty();
}

bool PreferencesMemory::isUnwritten(std::string_view key) const {
    const MutexLock lock(mutex_);
    return unwritten_.changes.contains(key);
}

void PreferencesMemory::writeAnew(bool others, bool lists) {
    const MutexLock lock(mutex_);
    for (const auto &[key, value] : values_) {
        if (recordsOf(value) != nullptr ? lists : others)
            unwritten_.changes.emplace(key, value);
    }
}

void PreferencesMemory::written(const Unwritten &done) {
    const MutexLock lock(mutex_);
    std::erase_if(unwritten_.changes, [&](const auto &change) {
        const auto found = done.changes.find(change.first);
        return found != done.changes.end() && found->second.isIdenticalTo(change.second);
    });
    const auto dropFirst = [](auto &list, std::size_t count) {
        list.erase(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(count));
    };
    dropFirst(unwritten_.handovers, done.handovers.size());
    dropFirst(unwritten_.handled, done.handled.size());
}

void PreferencesMemory::adopt(const PreferencesRows &rows, bool isWhole,
                              std::vector<PreferencesChange> &told) {
    const MutexLock lock(mutex_);
    const auto known = static_cast<std::ptrdiff_t>(told.size());
    const auto take = [&](const std::string &key, const Value &after) VMR_REQUIRES(mutex_) {
        const Value before = valueForKey(values_, key);
        if (unwritten_.changes.contains(key) || areSame(before, after))
            return;
        const auto last =
            std::find_if(std::make_reverse_iterator(told.begin() + known), told.rend(),
                         [&](const auto &one) { return one.number && one.key == key; });
        if (last == told.rend() || !areSame(last->after, after))
            told.push_back({key, before, after});
        replace(values_, key, after);
    };
    for (const auto &[key, value] : rows.entries)
        take(key, value);
    for (auto entry = values_.begin(); isWhole && entry != values_.end();) {
        const std::string key = (entry++)->first;
        if (!rows.entries.contains(key))
            take(key, Value());
    }
}

} // namespace vmr
