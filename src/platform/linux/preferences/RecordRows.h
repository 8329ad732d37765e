#pragma once

#include "platform/linux/preferences/PreferencesRows.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vmr {

class PreferencesMemory;

/// Where the numbers of a process begin, so that a row that is added after all others were removed
/// does not get a number that another process has seen before.
std::int64_t numberOfNow();

/// Writes lists of records into an open preferences file, a row a record, and of each list only the
/// rows that differ. Rows that it has neither read nor written are left alone, whoever they belong
/// to. Used where its connection is.
class RecordRows {
public:
    explicit RecordRows(SQLiteConnection &connection) : connection_(connection) {}

    /// From which number on new rows are, where none before it went; else all are to be read.
    std::int64_t readFrom();
    /// Takes over the rows that were read, all of them or the new ones, except those of lists that
    /// the memory has set and not written, and puts the whole lists into `rows`.
    void follow(PreferencesRows &rows, bool isWhole, const PreferencesMemory &memory);
    bool knows(std::string_view list) const { return lists_.contains(list); }

    /// Begins a transaction of the caller, who tells when it has ended well. What is known of the
    /// rows stays over a file's closing, in case the same one is opened again.
    void begin();
    /// Without records the list goes.
    void write(const std::string &list, const RecordList *records);
    void committed();
    /// Adds a row of that number, or of one after all others where somebody has that already. The
    /// number.
    std::int64_t insert(const std::string &list, const Archivable &record, std::int64_t number);

private:
    using Lists = std::map<std::string, StoredRecords, std::less<>>;
    struct Pending {
        std::string list;
        bool exists = false;
        bool isNew = false;
        RecordList records{};
        RecordList::Rest rest{};
        std::vector<std::int64_t> added{};
    };
    static void add(const StoredRecords &stored, const StoredRecords *known, bool all,
                    StoredRecords &result);
    void removeRows(const std::string &list, const StoredRecords &stored, std::size_t first,
                    std::size_t last);

    SQLiteConnection &connection_;
    Lists lists_;
    std::vector<Pending> pending_;
    std::int64_t lastNumber_ = 0;
    bool isNumbering_ = false;
};

} // namespace vmr
