#include "platform/linux/preferences/PreferencesLayout.h"

#include "platform/Format.h"
#include "platform/linux/preferences/PreferencesColumn.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <numeric>
#include <span>
#include <string>
#include <string_view>

namespace vmr {
namespace {

using Kind = PreferencesTrouble::Kind;

/// In the order in which they are made. The view is for people at the sqlite3 shell: the consent
/// events that wait to be sent. SQLite makes the last two of its own accord.
constexpr std::string_view objects[] = {
    "CREATE TABLE preferences(key TEXT PRIMARY KEY NOT NULL,type TEXT NOT NULL,value)",
    ("CREATE TABLE records(number INTEGER PRIMARY KEY,list TEXT NOT NULL,class TEXT NOT NULL,"
     "date REAL,consentString TEXT,fields TEXT,checksum INTEGER)"),
    ("CREATE TABLE handovers(number INTEGER PRIMARY KEY AUTOINCREMENT,key TEXT NOT NULL,"
     "type TEXT NOT NULL,value)"),
    ("CREATE VIEW waiting_events(number,date,consentString) AS SELECT number,"
     "strftime('%Y-%m-%d %H:%M:%fZ',date,'unixepoch'),coalesce(consentString,fields) "
     "FROM records WHERE list='VMRConsentEventsArray'"),
    "CREATE TABLE sqlite_sequence(name,seq)",
    "CREATE TABLE sqlite_stat1(tbl,idx,stat)",
};
constexpr std::size_t madeBySQLite = 2;

std::string withoutBlanks(std::string_view text) {
    std::string rest(text);
    std::erase_if(rest, [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); });
    return rest;
}

/// Whether an object of the file is one of ours: whatever else its text says, a check or an index
/// with an expression say, would be executed. Of ours are also blanks that somebody has put in; of
/// a text that is but for a few bits the file is damaged.
Kind troubleOfObject(std::string_view name, std::string_view sql) {
    constexpr std::ptrdiff_t mostFlips = 4;
    if (std::ranges::find(objects, sql) != std::end(objects))
        return Kind::none;
    for (const std::string_view ours : objects) {
        if (withoutBlanks(ours) == withoutBlanks(sql))
            return Kind::none;
        if (ours.size() == sql.size() &&
            std::inner_product(ours.begin(), ours.end(), sql.begin(), std::ptrdiff_t{0},
                               std::plus<>(), std::not_equal_to<>()) <= mostFlips)
            return Kind::damaged;
    }
    const bool isIndexOfKey = sql.empty() && name == "sqlite_autoindex_preferences_1";
    return isIndexOfKey ? Kind::none : Kind::refused;
}

} // namespace

std::optional<std::int64_t> formatOfPreferences(SQLiteConnection &connection) {
    const std::int64_t version = connection.number("PRAGMA user_version");
    StatementUse look(connection, "SELECT name,sql FROM sqlite_schema");
    bool isEmpty = true;
    bool isOurs = false;
    Kind worst = Kind::none;
    std::string name;
    while (look.step()) {
        isEmpty = false;
        const std::string_view one = textOfColumn(look.get(), 0);
        isOurs = isOurs || one == "preferences";
        const Kind kind = troubleOfObject(one, textOfColumn(look.get(), 1));
        if (kind == Kind::none || worst == Kind::refused)
            continue;
        worst = kind;
        name = one;
    }
    if (version > preferencesFormatVersion)
        fail(Kind::refused,
             "was written by a newer program (format %d); update this one or name another path",
             {version});
    if (!isOurs && !isEmpty)
        fail(Kind::refused, "is the database of another program; name another path");
    if (worst == Kind::refused)
        fail(worst, "is not laid out as a preferences file (%@); move it away or name another path",
             {name});
    if (worst == Kind::damaged)
        fail(worst, "is damaged (its tables are not as they were made)");
    return isOurs ? std::optional(version) : std::nullopt;
}

void layOutPreferences(SQLiteConnection &connection) {
    for (const std::string_view one :
         std::span(objects).first<std::size(objects) - madeBySQLite>()) {
        const std::size_t kind = sizeof "CREATE";
        const std::size_t name = one.find(' ', kind);
        connection.execute(
            formatText("CREATE %@ IF NOT EXISTS%@", one.substr(kind, name - kind), one.substr(name))
                .c_str());
    }
    connection.execute("PRAGMA user_version=2");
}

} // namespace vmr
