#pragma once

#include "device/Persistence.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"

#include <string_view>
#include <utility>

namespace vmr {

template <class Record>
bool holdsOnly(const RecordList &list) {
    for (std::size_t index = 0; index < list.size(); ++index) {
        if (list[index]->archiveClassName() != Record::ClassName)
            return false;
    }
    return true;
}

/// Stores the records that `current` gives under the key. Another thread, which could not wait for
/// this one's transaction, may have stored newer ones first: the newest are stored last.
template <class Current>
void saveCurrentRecords(const Current &current, std::string_view key) {
    RecordList saved;
    do {
        saved = current().list();
        saveArrayWithKey(saved, key);
    } while (saved != current().list());
}

/// The records stored as a list under the key. What is stored there and is no list of such records
/// is kept under the key's name followed by ".unreadable"; those of its elements that are such
/// records are used.
template <class Record>
RecordsOf<Record> storedRecords(std::string_view key) {
    const Value stored = platform().preferences->objectForKey(key);
    const RecordList *whole = stored.asData() != nullptr ? stored.asData()->records() : nullptr;
    if (whole != nullptr && holdsOnly<Record>(*whole))
        return RecordsOf<Record>(*whole);

    RecordsOf<Record> records;
    const Value loaded = deviceDataArrayWithType(key);
    const List none;
    const List *list = loaded.asList();
    bool foreign = list == nullptr;
    for (const Value &element : foreign ? none : *list) {
        if (auto record = recordOfClass<Record>(element))
            records.push_back(std::move(record));
        else
            foreign = true;
    }
    if (foreign)
        keepUnreadableArchive(key);
    return records;
}

} // namespace vmr
