#include "platform/linux/preferences/PreferencesLayout.h"

#include "platform/Format.h"

#include <sqlite3.h>

namespace vmr {
namespace {

using Kind = PreferencesTrouble::Kind;

/// The view is for people at the sqlite3 shell: the consent events that wait to be sent.
constexpr char recordsTable[] =
    "CREATE TABLE records(number INTEGER PRIMARY KEY,list TEXT NOT NULL,class TEXT NOT NULL,"
    "date REAL,consentString TEXT,fields TEXT,checksum INTEGER)";
constexpr char layout[] =
    "CREATE TABLE IF NOT EXISTS preferences("
    "key TEXT PRIMARY KEY NOT NULL,type TEXT NOT NULL,value);"
    "CREATE TABLE handovers(number INTEGER PRIMARY KEY AUTOINCREMENT,key TEXT NOT NULL,"
    "type TEXT NOT NULL,value);"
    "CREATE VIEW waiting_events(number,date,consentString) AS SELECT number,"
    "strftime('%Y-%m-%d %H:%M:%fZ',date,'unixepoch'),coalesce(consentString,fields) "
    "FROM records WHERE list='VMRConsentEventsArray';"
    "PRAGMA user_version=2";

} // namespace

std::optional<std::int64_t> formatOfPreferences(SQLiteConnection &connection) {
    // In one statement, so that the file is locked once for it.
    StatementUse look(connection, "SELECT (SELECT user_version FROM pragma_user_version),count(*),"
                                  "sum(type='table' AND name='preferences'),"
                                  "sum(name='records' AND sql!=?1) FROM sqlite_schema");
    look.bind(1, recordsTable).step();
    const std::int64_t version = sqlite3_column_int64(look.get(), 0);
    const bool isEmpty = sqlite3_column_int64(look.get(), 1) == 0;
    const bool isOurs = sqlite3_column_int64(look.get(), 2) != 0;
    if (version > preferencesFormatVersion)
        throw PreferencesTrouble{
            Kind::refused,
            formatText("was written by a newer program (format %d); update this one or name "
                       "another path",
                       version)};
    if (!isOurs && !isEmpty)
        throw PreferencesTrouble{Kind::refused,
                                 "is the database of another program; name another path"};
    // A row's number would be none with another text.
    if (version == preferencesFormatVersion && isOurs && sqlite3_column_int64(look.get(), 3) != 0)
        throw PreferencesTrouble{Kind::damaged,
                                 "is damaged (its tables are not as they were made)"};
    return isOurs ? std::optional(version) : std::nullopt;
}

void layOutPreferences(SQLiteConnection &connection) {
    connection.execute(recordsTable);
    connection.execute(layout);
}

} // namespace vmr
