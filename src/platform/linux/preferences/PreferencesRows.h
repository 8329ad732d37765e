#pragma once

#include "platform/Preferences.h"
#include "platform/RecordList.h"
#include "platform/linux/preferences/PreferencesColumn.h"
#include "platform/linux/preferences/SQLiteConnection.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vmr {

/// A list of records and the rows that it is kept in.
struct StoredRecords {
    RecordList records;
    std::vector<std::int64_t> numbers; ///< ascending, one for each record
};

/// What the rows of a preferences file hold, taken one after the other. The only place that
/// understands them.
class PreferencesRows {
public:
    static constexpr std::int64_t allRecords = std::numeric_limits<std::int64_t>::min();
    static constexpr std::int64_t noRecords = std::numeric_limits<std::int64_t>::max();
    /// A row with a higher number would leave none to the rows after it.
    static constexpr std::int64_t lastNumber = noRecords / 2;
    /// After a row with a higher number, which somebody else has chosen, ours do not go on.
    static constexpr std::int64_t lastFollowed = lastNumber / 2;

    /// Reads a file of this format; of the records those from the number on.
    void read(SQLiteConnection &connection, std::int64_t version,
              std::int64_t recordsFrom = allRecords);

    using Take = void (PreferencesRows::*)(sqlite3_stmt *row);
    /// The columns of a statement whose rows the function of that name understands.
    static constexpr char entryColumns[] = "SELECT rowid,key,type,value FROM preferences ";
    static constexpr char recordColumns[] =
        "SELECT rowid,list,class,date,consentString,fields,checksum FROM records ";
    static constexpr char handoverColumns[] = "SELECT rowid,key,type,value FROM handovers ";
    void takeEntry(sqlite3_stmt *row);
    void takeRecord(sqlite3_stmt *row);
    void takeHandover(sqlite3_stmt *row);
    /// Takes one row. Throws where they all hold more than their file: rows of a forged one can
    /// have their bytes in common.
    void take(Take takeOne, sqlite3_stmt *row);

    /// Counts a handover among what cannot be understood.
    void leaveHandover(std::string_view key, std::int64_t number);

    /// Puts the lists where they are read: among the entries. To be called at the end; `version` is
    /// the file's.
    void finish(std::int64_t version);

    /// How many entries and records there are.
    std::size_t count() const;

    Dictionary entries;
    /// Those of a file of version 1 have the numbers that their rows are to get: from 1 on, in
    /// whichever process that is.
    std::map<std::string, StoredRecords, std::less<>> lists;
    /// The entries of version 1 that are another value now, or none: most became lists.
    std::vector<std::string> takenOver;
    std::vector<PreferencesChange> handovers;
    /// Where each row stands that cannot be understood.
    std::vector<std::string> unreadable;

private:
    void takeAll(SQLiteConnection &connection, const char *columns, std::int64_t from,
                 Take takeOne);
    void separateLists();
    void keepApart(const std::string &key);

    std::int64_t held_ = 0;
    /// What they may hold in any case.
    std::int64_t room_ = 1 << 20;
};

} // namespace vmr
