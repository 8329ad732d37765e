#include "platform/linux/preferences/PreferencesRows.h"

#include "platform/Format.h"
#include "platform/KeyedArchive.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/RecordRow.h"

#include <sqlite3.h>

#include <algorithm>
#include <utility>

namespace vmr {
namespace {

constexpr char handoverPlace[] = "%@, handover %ld";

/// The list that an entry of version 1 belongs to: it kept what a list held before it was set by a
/// program that could not read it under "list.unread", "list.unread-2" and so on.
std::string listOf(const std::string &key) {
    constexpr std::string_view suffix = ".unread";
    const std::size_t at = key.rfind(suffix);
    if (at == std::string::npos)
        return key;
    const std::string_view number = std::string_view(key).substr(at + suffix.size());
    const bool isNumbered = number.size() > 1 && number.front() == '-' &&
                            number.find_first_not_of("0123456789", 1) == std::string_view::npos;
    return number.empty() || isNumbered ? key.substr(0, at) : key;
}

} // namespace

void PreferencesRows::takeAll(StatementUse &&select, Take takeOne) {
    while (select.step())
        take(takeOne, select.get());
}

void PreferencesRows::take(Take takeOne, sqlite3_stmt *row) {
    for (int column = 0; column < sqlite3_column_count(row); ++column) {
        sqlite3_value *const value = sqlite3_column_value(row, column);
        const int storage = sqlite3_value_type(value);
        if (storage == SQLITE_TEXT || storage == SQLITE_BLOB)
            held_ += sqlite3_value_bytes(value);
    }
    if (held_ > room_) {
        const std::string path = sqlite3_db_filename(sqlite3_db_handle(row), "main");
        const off_t length = lengthOf(path).value_or(0) + lengthOf(path + "-wal").value_or(0);
        room_ = 2 * length; // texts may stand there as UTF-16
    }
    if (held_ > room_)
        fail(PreferencesTrouble::Kind::damaged, "is damaged (its rows are longer than the file)");
    (this->*takeOne)(row);
}

void PreferencesRows::read(SQLiteConnection &connection, std::int64_t version,
                           std::int64_t recordsAfter) {
    takeAll({connection, entryColumns}, &PreferencesRows::takeEntry);
    if (version < 2)
        return;
    const std::string inOrder = std::string(handoverColumns) + "ORDER BY rowid";
    takeAll({connection, inOrder.c_str()}, &PreferencesRows::takeHandover);
    const std::string records = std::string(recordColumns) + "WHERE rowid>?1 ORDER BY rowid";
    if (recordsAfter != noRecords)
        takeAll(std::move(StatementUse(connection, records.c_str()).bind(1, recordsAfter)),
                &PreferencesRows::takeRecord);
}

void PreferencesRows::takeEntry(sqlite3_stmt *row) {
    PreferencesKey key = PreferencesKey::read(row, 0);
    Value value = valueOfRow(row, 1, 2);
    if (!key.isValid || value.isAbsent())
        unreadable.push_back(std::move(key.text));
    else if (recordsOf(value) != nullptr)
        lists[std::move(key.text)]; // its records come from their own table
    else
        entries.insert_or_assign(std::move(key.text), std::move(value));
}

void PreferencesRows::takeRecord(sqlite3_stmt *row) {
    const std::int64_t number = sqlite3_column_int64(row, 0);
    const bool isText = sqlite3_column_type(row, 1) == SQLITE_TEXT;
    const auto known = isText ? lists.find(textOfColumn(row, 1)) : lists.end();
    const bool isNew = known == lists.end();
    PreferencesKey key = isNew ? PreferencesKey::read(row, 1) : PreferencesKey{};
    RecordList::Record record =
        (key.isValid || !isNew) && number <= lastNumber ? recordOfRow(row, 2) : nullptr;
    if (!record) {
        unreadable.push_back(formatText("%@, record %ld", isNew ? key.text : known->first, number));
        return;
    }
    StoredRecords &stored = isNew ? lists[std::move(key.text)] : known->second;
    stored.numbers.push_back(number);
    stored.records.push_back(std::move(record));
}

void PreferencesRows::takeHandover(sqlite3_stmt *row) {
    const std::int64_t number = sqlite3_column_int64(row, 0);
    PreferencesKey key = PreferencesKey::read(row, 1);
    Value value = valueOfRow(row, 2, 3);
    if (key.isValid && number <= lastNumber &&
        (!value.isAbsent() || textOfColumn(row, 2) == "removed"))
        handovers.push_back({std::move(key.text), Value(), std::move(value), number});
    else
        unreadable.push_back(formatText(handoverPlace, key.text, number));
}

void PreferencesRows::leaveHandovers(std::span<const std::string_view> keys) {
    std::erase_if(handovers, [&](const PreferencesChange &one) {
        const bool isOther = std::ranges::find(keys, one.key) == keys.end();
        if (isOther)
            unreadable.push_back(formatText(handoverPlace, one.key, *one.number));
        return isOther;
    });
}

void PreferencesRows::finish(std::int64_t version) {
    if (version < 2)
        separateLists();
    for (const auto &[key, stored] : lists)
        entries.insert_or_assign(key, Value::data(archivedDataWithRecords(stored.records)));
}

std::size_t PreferencesRows::count() const {
    std::size_t count = entries.size() + handovers.size();
    for (const auto &[key, stored] : lists)
        count += stored.records.size() - 1; // of the list's own entry
    return count;
}

/// Version 1 kept the archive of a list whole, as data.
void PreferencesRows::separateLists() {
    // "list.unread-2" is older than "list.unread-10".
    const auto isOlder = [](const std::string &left, const std::string &right) {
        return std::pair(left.size(), std::string_view(left)) <
               std::pair(right.size(), std::string_view(right));
    };
    std::map<std::string, RecordList, decltype(isOlder)> found(isOlder);
    for (const auto &[key, value] : entries) {
        const Data *archive = value.asData();
        const auto records = archive != nullptr ? archivedRecords(*archive) : std::nullopt;
        // What would not give the very same bytes again stays as it is.
        if (records && archivedDataWithRecords(*records) == *archive)
            found.emplace(key, *records);
    }
    // What was kept apart is older than the list itself, which comes first among the keys.
    std::int64_t number = 0;
    for (const bool isKept : {true, false}) {
        for (const auto &[key, records] : found) {
            const std::string list = listOf(key);
            if (isKept != (list != key))
                continue;
            StoredRecords &stored = lists[list];
            for (std::size_t index = 0; index < records.size(); ++index) {
                stored.records.push_back(records[index]);
                stored.numbers.push_back(++number);
            }
            takenOver.push_back(key);
            entries.erase(key);
        }
    }
}

} // namespace vmr
