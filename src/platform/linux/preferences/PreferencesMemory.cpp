#include "platform/linux/preferences/PreferencesMemory.h"

#include "platform/linux/ForkedChild.h"

#include <algorithm>
#include <cstddef>
#include <utility>

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
    const Data *leftData = left.asData();
    const Data *rightData = right.asData();
    const RecordList *leftRecords = leftData != nullptr ? leftData->records() : nullptr;
    const RecordList *rightRecords = rightData != nullptr ? rightData->records() : nullptr;
    if (leftRecords == nullptr || rightRecords == nullptr)
        return left.isEqualTo(right);
    return leftRecords->size() == rightRecords->size() &&
           rightRecords->restOf(*leftRecords).kept == rightRecords->size();
}

} // namespace

Value PreferencesMemory::valueOf(std::string_view key) const {
    const auto found = entries_.find(key);
    return found == entries_.end() ? Value() : valueOfColumn(found->second.column);
}

Value PreferencesMemory::get(std::string_view key) const {
    if (!take(mutex_))
        return {};
    const Taken taken(mutex_);
    return valueOf(key);
}

std::vector<std::string> PreferencesMemory::keys() const {
    std::vector<std::string> result;
    if (!take(mutex_))
        return result;
    const Taken taken(mutex_);
    for (const auto &[key, entry] : entries_) {
        if (entry.column)
            result.push_back(key);
    }
    return result;
}

Value PreferencesMemory::put(std::string_view key, std::optional<PreferencesColumn> column,
                             bool isHandedOver) {
    if (!take(mutex_))
        return {};
    const Taken taken(mutex_);
    Value before = valueOf(key);
    if (isHandedOver && (column || !before.isAbsent()))
        handovers_.push_back({std::string(key), column});
    entries_.insert_or_assign(std::string(key), Entry{std::move(column), ++turns_});
    return before;
}

void PreferencesMemory::handled(std::int64_t handover) {
    const MutexLock lock(mutex_);
    handled_ = std::max(handled_, handover);
}

PreferencesMemory::Unwritten PreferencesMemory::unwritten() const {
    Unwritten result;
    const MutexLock lock(mutex_);
    for (const auto &[key, entry] : entries_) {
        if (entry.turn == 0)
            continue;
        result.changes.push_back({key, entry.column});
        result.turns.push_back(entry.turn);
    }
    result.handovers = handovers_;
    result.handled = handled_;
    return result;
}

bool PreferencesMemory::hasUnwritten() const {
    const MutexLock lock(mutex_);
    return handled_ != 0 || std::any_of(entries_.begin(), entries_.end(),
                                        [](const auto &entry) { return entry.second.turn != 0; });
}

bool PreferencesMemory::isUnwritten(std::string_view key) const {
    const MutexLock lock(mutex_);
    const auto found = entries_.find(key);
    return found != entries_.end() && found->second.turn != 0;
}

void PreferencesMemory::writeAnew() {
    const MutexLock lock(mutex_);
    for (auto &[key, entry] : entries_)
        entry.turn = ++turns_;
}

void PreferencesMemory::written(const Unwritten &done) {
    const MutexLock lock(mutex_);
    for (std::size_t i = 0; i < done.changes.size(); ++i) {
        const auto found = entries_.find(done.changes[i].key);
        if (found == entries_.end() || found->second.turn != done.turns[i])
            continue;
        found->second.turn = 0;
        if (!found->second.column)
            entries_.erase(found);
    }
    handovers_.erase(handovers_.begin(),
                     handovers_.begin() + static_cast<std::ptrdiff_t>(done.handovers.size()));
    if (handled_ == done.handled)
        handled_ = 0;
}

std::vector<PreferencesDifference>
PreferencesMemory::adopt(const PreferencesRows &rows, bool isWhole,
                         const std::vector<PreferencesDifference> &told) {
    std::vector<PreferencesDifference> result;
    std::map<std::string_view, const Value *> known;
    for (const PreferencesDifference &one : told)
        known.insert_or_assign(one.key, &one.after);
    const MutexLock lock(mutex_);
    const auto take = [&](const std::string &key, const std::optional<PreferencesColumn> &column) {
        Value before = valueOf(key);
        Value after = valueOfColumn(column);
        const auto last = known.find(key);
        if (areSame(before, after))
            return;
        if (last == known.end() || !areSame(*last->second, after))
            result.push_back({key, std::move(before), after});
        if (column)
            entries_.insert_or_assign(key, Entry{column});
        else
            entries_.erase(key);
    };
    for (const auto &[key, column] : rows.entries) {
        const auto found = entries_.find(key);
        if (found == entries_.end() || found->second.turn == 0)
            take(key, column);
    }
    if (!isWhole)
        return result;
    std::vector<std::string> gone;
    for (const auto &[key, entry] : entries_) {
        if (entry.turn == 0 && !rows.entries.contains(key))
            gone.push_back(key);
    }
    for (const std::string &key : gone)
        take(key, std::nullopt);
    return result;
}

} // namespace vmr
