#include "device/Persistence.h"

#include "platform/CurrentDevice.h"
#include "platform/Format.h"
#include "platform/Mutex.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/SystemLog.h"

#include <string>

namespace vmr {
namespace {

/// The value last seen to be a readable archive, for each key, so that a save need not decode what
/// it replaces. Preferences hand out the very object that was set, so identity tells.
class ReadableArchives {
public:
    static ReadableArchives &shared() {
        static ReadableArchives &archives = *new ReadableArchives;
        return archives;
    }
    void remember(std::string_view key, const Value &stored) {
        const MutexLock lock(mutex_);
        seen_.insert_or_assign(std::string(key), stored);
    }
    bool knows(std::string_view key, const Value &stored) const {
        const MutexLock lock(mutex_);
        return valueForKey(seen_, key).isIdenticalTo(stored);
    }

private:
    mutable Mutex mutex_;
    Dictionary seen_ VMR_GUARDED_BY(mutex_);
};

void store(const Value &value, std::string_view key) {
    platform().preferences->setObject(value, key);
    flushPreferencesIfNeeded();
}

template <class Collection>
Value orEmpty(Value loaded, Value (*make)(Collection)) {
    return loaded.isAbsent() ? make(Collection()) : loaded;
}

} // namespace

void flushPreferencesIfNeeded() {
    if (!platform().currentDevice->isSystemVersionAtLeast(9, 3))
        platform().preferences->synchronize();
}

void keepUnreadableArchive(std::string_view key) {
    const Value stored = platform().preferences->objectForKey(key);
    const std::string first = std::string(key) + ".unreadable";
    std::string name = first;
    // What an earlier accident left there is kept as well.
    for (int number = 2;; ++number) {
        const Value kept = platform().preferences->objectForKey(name);
        if (kept.isEqualTo(stored))
            return;
        if (kept.isAbsent())
            break;
        name = formatText("%@.%d", first, number);
    }
    store(stored, name);
    platform().systemLog->write(formatText(
        "VelmoraKit: what is stored under \"%@\" cannot be read and counts as absent; it is "
        "kept under \"%@\"",
        key, name));
}

void storeArchive(const Data &archive, std::string_view key) {
    storeArchiveMadeBy([&archive] { return archive; }, key);
}

void storeArchiveMadeBy(const std::function<Data()> &make, std::string_view key) {
    const Value before = platform().preferences->objectForKey(key);
    if (!before.isAbsent() && !ReadableArchives::shared().knows(key, before))
        loadArchive(key);
    platform().preferences->setObjectMadeBy(
        [&make, key] {
            Value archive = Value::data(make());
            ReadableArchives::shared().remember(key, archive);
            return archive;
        },
        key);
    flushPreferencesIfNeeded();
}

Value loadArchive(std::string_view key) {
    const Value stored = platform().preferences->objectForKey(key);
    if (stored.isAbsent())
        return stored;
    if (const Data *archive = stored.asData()) {
        if (auto root = unarchiveObjectWithData(*archive)) {
            ReadableArchives::shared().remember(key, stored);
            return *std::move(root);
        }
    }
    keepUnreadableArchive(key);
    return Value();
}

void saveArrayWithKey(const List &list, std::string_view key) {
    storeArchive(archivedDataWithRootObject(Value::list(list)), key);
}

Value deviceDataArrayWithType(std::string_view key) {
    return orEmpty<List>(loadArchive(key), &Value::list);
}

void saveDictionaryWithKey(const Dictionary &dictionary, std::string_view key) {
    storeArchive(archivedDataWithRootObject(Value::dictionary(dictionary)), key);
}

Value mutableDictionaryWithType(std::string_view key) {
    return orEmpty<Dictionary>(loadArchive(key), &Value::dictionary);
}

void saveDateForKey(const std::optional<Date> &date, std::string_view key) {
    store(date ? Value::date(*date) : Value(), key);
}

Value savedDateOrDistantPastForKey(std::string_view key) {
    const Value stored = savedDateOrNilForKey(key);
    return stored.isAbsent() ? Value::date(Date::distantPast()) : stored;
}

Value savedDateOrNilForKey(std::string_view key) {
    return platform().preferences->objectForKey(key);
}

Date dateOrDistantPast(const Value &stored) {
    const Date *date = stored.asDate();
    return date ? *date : Date::distantPast();
}

} // namespace vmr
