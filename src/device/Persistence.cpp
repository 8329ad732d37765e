#include "device/Persistence.h"

#include "platform/CurrentDevice.h"
#include "platform/Format.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/SystemLog.h"

#include <string>

namespace vmr {
namespace {

void store(const Value &value, std::string_view key) {
    platform().preferences->setObject(value, key);
    flushPreferencesIfNeeded();
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
    const auto whole = platform().preferences->transaction();
    const Value before = platform().preferences->objectForKey(key);
    const Data *replaced = before.asData();
    if (replaced == nullptr || replaced->records() == nullptr)
        loadArchive(key);
    store(Value::data(archive), key);
}

Value loadArchive(std::string_view key) {
    const Value stored = platform().preferences->objectForKey(key);
    if (stored.isAbsent())
        return stored;
    const Data *archive = stored.asData();
    if (auto root = archive != nullptr ? unarchiveObjectWithData(*archive) : std::nullopt)
        return *std::move(root);
    keepUnreadableArchive(key);
    return Value();
}

void saveArrayWithKey(const List &list, std::string_view key) {
    storeArchive(archivedDataWithRootObject(Value::list(list)), key);
}

void saveArrayWithKey(const RecordList &records, std::string_view key) {
    storeArchive(archivedDataWithRecords(records), key);
}

Value deviceDataArrayWithType(std::string_view key) {
    const Value loaded = loadArchive(key);
    return loaded.isAbsent() ? Value::list({}) : loaded;
}

RecordList storedRecords(std::string_view key, std::string_view className) {
    const auto isForeign = [&](const RecordList::Record &record) {
        return !record || record->archiveClassName() != className;
    };
    const Value stored = platform().preferences->objectForKey(key);
    const RecordList *whole = stored.asData() != nullptr ? stored.asData()->records() : nullptr;
    bool isWhole = whole != nullptr;
    for (std::size_t index = 0; isWhole && index < whole->size(); ++index)
        isWhole = !isForeign((*whole)[index]);
    if (isWhole)
        return *whole;

    RecordList records;
    const Value loaded = deviceDataArrayWithType(key);
    const List none;
    const List *list = loaded.asList();
    bool foreign = list == nullptr;
    for (const Value &element : foreign ? none : *list) {
        if (auto record = element.asRecord(); isForeign(record))
            foreign = true;
        else
            records.push_back(std::move(record));
    }
    if (foreign)
        keepUnreadableArchive(key);
    return records;
}

void saveCurrentRecords(const Locked<RecordList> &current, std::string_view key) {
    const auto whole = platform().preferences->transaction();
    RecordList saved;
    do {
        saved = current.get();
        saveArrayWithKey(saved, key);
    } while (saved != current.get());
}

void saveDictionaryWithKey(const Dictionary &dictionary, std::string_view key) {
    storeArchive(archivedDataWithRootObject(Value::dictionary(dictionary)), key);
}

Value mutableDictionaryWithType(std::string_view key) {
    const Value loaded = loadArchive(key);
    return loaded.isAbsent() ? Value::dictionary({}) : loaded;
}

void saveDateForKey(const std::optional<Date> &date, std::string_view key) {
    store(date ? Value::date(*date) : Value(), key);
}

void savePresentDateForKey(const std::optional<Date> &date, std::string_view key) {
    if (date)
        saveDateForKey(date, key);
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
