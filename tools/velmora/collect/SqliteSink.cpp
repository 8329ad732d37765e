#include "collect/SqliteSink.h"

#include <string>

namespace velmora::collect {
namespace {

/// Written with every change of the tables.
constexpr const char *schema = R"(
PRAGMA journal_mode = WAL;
PRAGMA synchronous = FULL;
PRAGMA wal_autocheckpoint = 4000;
BEGIN IMMEDIATE;
CREATE TABLE IF NOT EXISTS api_keys (id INTEGER PRIMARY KEY, api_key TEXT NOT NULL UNIQUE);
CREATE TABLE IF NOT EXISTS requests (
    id INTEGER PRIMARY KEY, arrival INTEGER NOT NULL, api_key INTEGER NOT NULL, kind TEXT NOT NULL,
    device BLOB NOT NULL, peer TEXT NOT NULL, bytes INTEGER NOT NULL, items INTEGER NOT NULL,
    added INTEGER NOT NULL, envelope TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS events (
    id INTEGER PRIMARY KEY, request INTEGER NOT NULL, api_key INTEGER NOT NULL,
    device BLOB NOT NULL, event BLOB NOT NULL, date TEXT NOT NULL, content);
CREATE UNIQUE INDEX IF NOT EXISTS events_once ON events (api_key, device, event);
PRAGMA user_version = 1;
COMMIT;
)";
constexpr std::int64_t schemaVersion = 1;

unsigned nibble(char digit) {
    return static_cast<unsigned>((digit & 15) + (digit >> 6) * 9); // a letter has bit 6, and 1 is A
}

/// The bytes that hexadecimal digits stand for; dashes are passed over.
std::string packed(std::string_view digits) {
    std::string bytes;
    bytes.reserve(digits.size() / 2);
    unsigned high = 0;
    bool isSecond = false;
    for (const char digit : digits) {
        if (digit == '-')
            continue;
        if (isSecond)
            bytes += static_cast<char>(high << 4 | nibble(digit));
        else
            high = nibble(digit);
        isSecond = !isSecond;
    }
    return bytes;
}

Database opened(const std::string &path) {
    Database database(path, Database::Mode::readWrite);
    Statement version(database, "PRAGMA user_version");
    version.step();
    if (version.number(0) > schemaVersion)
        throw SinkTrouble("the database \"" + path +
                          "\" was written by a newer velmora; use that one, or another file");
    version.reset();
    database.run(schema);
    return database;
}

} // namespace

SqliteSink::SqliteSink(const std::string &path)
    : database_(opened(path)), begin_(database_, "BEGIN IMMEDIATE"), commit_(database_, "COMMIT"),
      rollback_(database_, "ROLLBACK"),
      insertRequest_(database_, "INSERT INTO requests (arrival, api_key, kind, device, peer, bytes,"
                                " items, added, envelope) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"),
      insertEvent_(database_, "INSERT OR IGNORE INTO events (request, api_key, device, event, date,"
                              " content) VALUES (?, ?, ?, ?, ?, ?)"),
      setAdded_(database_, "UPDATE requests SET added = ? WHERE id = ?"),
      insertKey_(database_, "INSERT OR IGNORE INTO api_keys (api_key) VALUES (?)"),
      findKey_(database_, "SELECT id FROM api_keys WHERE api_key = ?") {}

std::vector<std::size_t> SqliteSink::store(std::span<const Delivery *const> deliveries) {
    std::vector<std::size_t> added;
    begin_.run();
    try {
        for (const Delivery *delivery : deliveries)
            added.push_back(insert(*delivery));
        commit_.run();
        database_.requireInPlace();
    } catch (...) {
        keys_.clear();
        // SQLite has gone back by itself where the trouble was great.
        if (sqlite3_get_autocommit(database_.handle()) == 0)
            rollback_.run();
        throw;
    }
    return added;
}

std::size_t SqliteSink::insert(const Delivery &delivery) {
    const std::int64_t key = keyOf(delivery.apiKey);
    const std::string device = packed(delivery.device);
    const auto items = static_cast<std::int64_t>(delivery.events.size());
    insertRequest_.bind(1, delivery.arrival).bind(2, key).bind(3, nameOf(delivery.kind));
    insertRequest_.bindBlob(4, device).bind(5, std::string_view(delivery.peer));
    insertRequest_.bind(6, static_cast<std::int64_t>(delivery.bytes)).bind(7, items);
    insertRequest_.bind(8, items).bind(9, std::string_view(delivery.envelope)).run();

    const std::int64_t request = sqlite3_last_insert_rowid(database_.handle());
    std::int64_t added = 0;
    for (const Event &each : delivery.events) {
        const std::string identifier = packed(each.identifier);
        insertEvent_.bind(1, request).bind(2, key).bindBlob(3, device).bindBlob(4, identifier);
        insertEvent_.bind(5, std::string_view(each.date));
        if (each.form == Event::Form::text)
            insertEvent_.bind(6, std::string_view(each.content));
        else if (each.form == Event::Form::null)
            insertEvent_.bindNull(6);
        else
            insertEvent_.bindBlob(6, each.content);
        insertEvent_.run();
        added += sqlite3_changes(database_.handle());
    }
    if (added != items)
        setAdded_.bind(1, added).bind(2, request).run();
    return static_cast<std::size_t>(added);
}

std::int64_t SqliteSink::keyOf(const std::string &apiKey) {
    if (const auto known = keys_.find(apiKey); known != keys_.end())
        return known->second;
    insertKey_.bind(1, std::string_view(apiKey)).run();
    findKey_.bind(1, std::string_view(apiKey)).step();
    const std::int64_t key = findKey_.number(0);
    findKey_.reset();
    keys_.emplace(apiKey, key);
    return key;
}

} // namespace velmora::collect
