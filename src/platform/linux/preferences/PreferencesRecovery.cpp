#include "platform/linux/preferences/PreferencesRecovery.h"

#include "platform/Format.h"
#include "platform/linux/OwnedDescriptor.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <utility>

namespace vmr {
namespace {

// Rows between two damaged places are looked for one by one, as far as this.
constexpr std::uint64_t mostLooks = 100'000;

std::string stamp(Date now) {
    const auto seconds = static_cast<std::time_t>(now.secondsSince1970);
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &utc);
    return text.data();
}

/// SQLite reads nothing of a file that is shorter than it says, and throws the log of an empty one
/// away: zeroes take the place of what is missing.
void restoreLength(const std::string &path) {
    constexpr off_t most = off_t{1} << 30;
    std::array<char, 32> header{};
    {
        const OwnedDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        static_cast<void>(!::read(file.get(), header.data(), header.size()));
    }
    const auto byte = [&](std::size_t at) { return off_t{static_cast<unsigned char>(header[at])}; };
    const off_t pageSize = byte(16) << 8 | byte(17);
    const off_t pages = byte(28) << 24 | byte(29) << 16 | byte(30) << 8 | byte(31);
    const off_t length = std::max<off_t>(pageSize * pages, 4096);
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && status.st_size < length && length <= most)
        static_cast<void>(!::truncate(path.c_str(), length));
}

/// Reads a table with damaged pages from both ends, and what is between them row by row.
class Salvage {
public:
    Salvage(SQLiteConnection &connection, std::string columns, int numberColumn,
            PreferencesRows::Take take, PreferencesRows &rows)
        : connection_(connection), columns_(std::move(columns)), numberColumn_(numberColumn),
          take_(take), rows_(rows) {}

    /// In ascending order of the rows' numbers.
    void run() && {
        std::int64_t first = 0;
        std::int64_t last = 0;
        if (scan("ORDER BY rowid", first, take_))
            return;
        scan("ORDER BY rowid DESC", last, nullptr);
        // Nothing read from behind says nothing about how far the rows reach. Unsigned, since a
        // damaged file may hold any numbers.
        const auto start = static_cast<std::uint64_t>(first);
        const std::uint64_t gap = last > first ? static_cast<std::uint64_t>(last) - start : 1000;
        scanSingly(start, std::min(gap, mostLooks));
        if (gap > mostLooks)
            scan(formatText("WHERE rowid>=%ld ORDER BY rowid", last), last, take_);
        else if (last > first)
            scan(formatText("WHERE rowid>%ld ORDER BY rowid", last), last, take_);
    }

private:
    /// Reads rows until the end, true, or a damaged place; `last` becomes the last row's number.
    bool scan(const std::string &part, std::int64_t &last, PreferencesRows::Take take) {
        SQLiteStatement select;
        if (connection_.prepare((columns_ + part).c_str(), select) != SQLITE_OK)
            return false;
        int code = SQLITE_DONE;
        while ((code = sqlite3_step(select.get())) == SQLITE_ROW) {
            last = sqlite3_column_int64(select.get(), numberColumn_);
            if (take != nullptr)
                (rows_.*take)(select.get());
        }
        return code == SQLITE_DONE;
    }

    /// Reads that many rows after the one with the number `start`, where they can be read.
    void scanSingly(std::uint64_t start, std::uint64_t looks) {
        SQLiteStatement select;
        if (connection_.prepare((columns_ + "WHERE rowid=?1").c_str(), select) != SQLITE_OK)
            return;
        for (std::uint64_t look = 1; look <= looks; ++look) {
            const StatementUse use(select);
            sqlite3_bind_int64(use.get(), 1, static_cast<std::int64_t>(start + look));
            if (sqlite3_step(use.get()) == SQLITE_ROW)
                (rows_.*take_)(use.get());
        }
    }

    SQLiteConnection &connection_;
    const std::string columns_;
    const int numberColumn_;
    const PreferencesRows::Take take_;
    PreferencesRows &rows_;
};

} // namespace

std::string setDamagedFileAside(const std::string &path, Date now) {
    const std::string base = path + ".damaged-" + stamp(now);
    std::string target = base;
    for (int number = 2; ::access(target.c_str(), F_OK) == 0; ++number)
        target = base + "-" + std::to_string(number);
    // The file first: should the process end here, the log that stays is found beside an empty
    // file and set aside as well.
    if (std::rename(path.c_str(), target.c_str()) != 0)
        return {};
    std::rename((path + "-wal").c_str(), (target + "-wal").c_str());
    ::unlink((path + "-shm").c_str()); // only an index, made again from the log
    return target;
}

PreferencesRows readableRows(const std::string &path) {
    restoreLength(path);
    PreferencesRows rows;
    SQLiteConnection connection;
    if (connection.open(path, SQLiteConnection::Access::readWrite) != SQLITE_OK)
        return rows;
    sqlite3_db_config(connection.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    connection.execute("PRAGMA query_only=1");
    Salvage(connection, PreferencesRows::entryColumns, 3, &PreferencesRows::takeEntry, rows).run();
    Salvage(connection, PreferencesRows::recordColumns, 0, &PreferencesRows::takeRecord, rows)
        .run();
    // Lists that version 1 kept as data are told by their bytes, whatever the damaged file says.
    rows.finish(1);
    return rows;
}

} // namespace vmr
