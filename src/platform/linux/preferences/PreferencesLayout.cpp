#include "platform/linux/preferences/PreferencesLayout.h"

#include "platform/Format.h"

#include <sqlite3.h>

#include <utility>

namespace vmr {
namespace {

using Kind = PreferencesTrouble::Kind;

/// The view is for people at the sqlite3 shell: the consent events that wait to be sent.
constexpr char layout[] =
    "CREATE TABLE IF NOT EXISTS preferences("
    "key TEXT PRIMARY KEY NOT NULL,type TEXT NOT NULL,value);"
    "CREATE TABLE records(number INTEGER PRIMARY KEY,list TEXT NOT NULL,class TEXT NOT NULL,"
    "date REAL,consentString TEXT,fields TEXT,checksum INTEGER);"
    "CREATE TABLE handovers(number INTEGER PRIMARY KEY AUTOINCREMENT,key TEXT NOT NULL,"
    "type TEXT NOT NULL,value);"
    "CREATE VIEW waiting_events(number,date,consentString) AS SELECT number,"
    "strftime('%Y-%m-%d %H:%M:%fZ',date,'unixepoch'),coalesce(consentString,fields) "
    "FROM records WHERE list='VMRConsentEventsArray';"
    "PRAGMA user_version=2";

} // namespace

PreferencesTrouble readPreferencesLayout(SQLiteConnection &connection, std::int64_t &version,
                                         bool &isNew) {
    std::int64_t tables = 0;
    std::int64_t ours = 0;
    for (const auto &[sql, result] :
         {std::pair{"PRAGMA user_version", &version},
          std::pair{"SELECT count(*) FROM sqlite_schema", &tables},
          std::pair{"SELECT count(*) FROM sqlite_schema WHERE type='table' AND name='preferences'",
                    &ours}}) {
        if (const int code = connection.number(sql, *result))
            return connection.trouble(code);
    }
    if (version > preferencesFormatVersion)
        return {Kind::refused,
                formatText("was written by a newer program (format %d); update this one or name "
                           "another path",
                           version)};
    if (ours == 0 && tables > 0)
        return {Kind::refused, "is the database of another program; name another path"};
    isNew = ours == 0;
    return {};
}

int layOutPreferences(SQLiteConnection &connection) {
    return connection.execute(layout);
}

} // namespace vmr
