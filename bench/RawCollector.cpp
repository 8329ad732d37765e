#include "RawCollector.h"

#include <nlohmann/json.hpp>
#include <sqlite3.h>
#include <zlib.h>

#include <array>
#include <ctime>
#include <stdexcept>

namespace bench {
namespace {

void require(bool isTrue) {
    if (!isTrue)
        throw std::runtime_error("the raw collector failed");
}

std::string inflated(const std::string &body) {
    z_stream stream{};
    require(inflateInit2(&stream, 15 + 16) == Z_OK);
    std::string source = body;
    stream.next_in = reinterpret_cast<Bytef *>(source.data());
    stream.avail_in = static_cast<uInt>(source.size());
    std::string text;
    std::array<char, 65536> piece;
    int status = Z_OK;
    while (status == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef *>(piece.data());
        stream.avail_out = static_cast<uInt>(piece.size());
        status = inflate(&stream, Z_NO_FLUSH);
        text.append(piece.data(), piece.size() - stream.avail_out);
    }
    inflateEnd(&stream);
    require(status == Z_STREAM_END);
    return text;
}

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

} // namespace

double processorTimeOfRaw(const std::string &path, const std::vector<std::string> &bodies,
                          std::size_t batch) {
    sqlite3 *database = nullptr;
    require(sqlite3_open(path.c_str(), &database) == SQLITE_OK);
    const auto run = [&](const char *sql) {
        require(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK);
    };
    run("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 4000;"
        "CREATE TABLE IF NOT EXISTS events (id INTEGER PRIMARY KEY, device TEXT, event TEXT, date "
        "TEXT,"
        " consent TEXT, envelope TEXT); CREATE UNIQUE INDEX IF NOT EXISTS once ON events (device, "
        "event)");
    sqlite3_stmt *insert = nullptr;
    require(sqlite3_prepare_v2(database,
                               "INSERT OR IGNORE INTO events (device, event, date, consent, "
                               "envelope) VALUES (?, ?, ?, ?, ?)",
                               -1, &insert, nullptr) == SQLITE_OK);
    const auto bind = [&](int place, const std::string &text) {
        sqlite3_bind_text(insert, place, text.data(), static_cast<int>(text.size()),
                          SQLITE_TRANSIENT);
    };
    const double begin = processorSeconds();
    for (std::size_t i = 0; i < bodies.size(); ++i) {
        if (i % batch == 0)
            run("BEGIN");
        nlohmann::json body = nlohmann::json::parse(inflated(bodies[i]));
        const nlohmann::json items = std::move(body["batch"]);
        body.erase("batch");
        const std::string envelope = body.dump();
        bool isFirst = true;
        for (const nlohmann::json &item : items) {
            bind(1, body["uuid"].get_ref<const std::string &>());
            bind(2, item["eventId"].get_ref<const std::string &>());
            bind(3, item["localDate"].get_ref<const std::string &>());
            bind(4, item["consentString"].get_ref<const std::string &>());
            bind(5, std::exchange(isFirst, false) ? envelope : "");
            require(sqlite3_step(insert) == SQLITE_DONE);
            sqlite3_reset(insert);
        }
        if ((i + 1) % batch == 0 || i + 1 == bodies.size())
            run("COMMIT");
    }
    const double spent = processorSeconds() - begin;
    sqlite3_finalize(insert);
    sqlite3_close(database);
    return spent;
}

} // namespace bench
