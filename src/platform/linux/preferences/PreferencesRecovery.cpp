#include "platform/linux/preferences/PreferencesRecovery.h"

#include "platform/Format.h"
#include "platform/linux/OwnedDescriptor.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesLayout.h"
#include "platform/linux/preferences/PreferencesSync.h"

#include <dirent.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <initializer_list>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace vmr {
namespace {

// Rows between two damaged places are looked for one by one, as far as this.
constexpr std::uint64_t mostLooks = 100'000;

std::string nameUnderRecovery(const std::string &path) {
    return path + ".damaged";
}

std::string stampOfNow() {
    const std::time_t seconds = std::time(nullptr);
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
    const OwnedDescriptor file = openOwnFile(path, O_RDWR);
    if (!file || ::read(file.get(), header.data(), header.size()) < 0)
        failWith(errno, "is damaged, and cannot be read");
    const auto byte = [&](std::size_t at) { return off_t{static_cast<unsigned char>(header[at])}; };
    const off_t pageSize = byte(16) << 8 | byte(17);
    const off_t pages = byte(28) << 24 | byte(29) << 16 | byte(30) << 8 | byte(31);
    const off_t length = std::max<off_t>(pageSize * pages, 4096);
    if (lengthOf(path).value_or(length) < length && length <= most &&
        ::ftruncate(file.get(), length) != 0)
        failWith(errno, "is damaged, and cannot be made whole");
}

void rename(const std::string &from, const std::string &to) {
    if (std::rename(from.c_str(), to.c_str()) != 0)
        failWith(errno, "is damaged, and %@ cannot be renamed", {from});
}

void renameLog(const std::string &from, const std::string &to) {
    if (lengthOf(from + "-wal"))
        rename(from + "-wal", to + "-wal");
}

void remove(const std::string &path, std::initializer_list<const char *> suffixes) {
    for (const char *suffix : suffixes)
        ::unlink((path + suffix).c_str());
}

struct FolderCloser {
    void operator()(DIR *folder) const noexcept { ::closedir(folder); }
};

void overwrite(const std::string &path) {
    const OwnedDescriptor file = openOwnFile(path, O_WRONLY);
    const std::vector<char> zeroes(1 << 16);
    off_t left = file ? lengthOf(path).value_or(0) : -1;
    while (left > 0) {
        const auto size = std::min(static_cast<std::size_t>(left), zeroes.size());
        const ssize_t count = ::write(file.get(), zeroes.data(), size);
        left = count > 0 ? left - count : -1;
    }
    if (left < 0 || ::fdatasync(file.get()) != 0)
        failWith(errno, "is erased, but %@ cannot be overwritten", {path});
}

/// The end of a name that a file was set aside under: nothing, or the time, and a companion's.
bool isOfRecovery(std::string_view end) {
    for (const std::string_view suffix : {"-wal", "-shm", "-journal", "-lock"})
        if (end.ends_with(suffix))
            end.remove_suffix(suffix.size());
    return end.empty() || (end.size() > 1 && end.find_first_not_of("-0123456789TZ") == end.npos);
}

/// Not of what stands there: it may pass.
bool isOfTheDisk(const PreferencesTrouble &trouble) {
    return trouble.kind == PreferencesTrouble::Kind::failed ||
           trouble.kind == PreferencesTrouble::Kind::locked;
}

bool isForeign(SQLiteConnection &connection) {
    try {
        formatOfPreferences(connection);
        return false;
    } catch (const PreferencesTrouble &trouble) {
        return trouble.kind == PreferencesTrouble::Kind::refused;
    }
}

struct Table {
    const char *columns;
    PreferencesRows::Take take;
};

/// Reads a table with damaged pages from both ends, and what is between them row by row: in
/// ascending order of the rows' numbers.
void salvage(SQLiteConnection &connection, const Table &table, PreferencesRows &rows) {
    using Numbers = std::numeric_limits<std::int64_t>;
    std::int64_t last = 0;
    // Until the end, true, or a place that is damaged or takes too long.
    const auto read = [&](const char *which, std::int64_t number, bool isTaken) {
        StatementUse select(connection, (std::string(table.columns) + which).c_str());
        select.bind(1, number);
        int code = SQLITE_DONE;
        while ((code = sqlite3_step(select.get())) == SQLITE_ROW) {
            last = sqlite3_column_int64(select.get(), 0);
            if (isTaken)
                rows.take(table.take, select.get());
        }
        if (code != SQLITE_DONE && (code & 0xff) != SQLITE_INTERRUPT)
            if (PreferencesTrouble trouble = connection.troubleOf(code); isOfTheDisk(trouble))
                throw trouble;
        return code == SQLITE_DONE;
    };
    constexpr char upwards[] = "WHERE rowid>=?1 ORDER BY rowid";
    if (read(upwards, Numbers::min(), true))
        return;
    const std::int64_t first = std::exchange(last, 0);
    read("WHERE rowid<=?1 ORDER BY rowid DESC", Numbers::max(), false);
    const std::int64_t end = last;
    // Nothing read from behind says nothing about how far the rows reach. Unsigned, since a
    // damaged file may hold any numbers.
    const auto start = static_cast<std::uint64_t>(first);
    const std::uint64_t gap = end > first ? static_cast<std::uint64_t>(end) - start : 1000;
    for (std::uint64_t look = 1; look <= std::min(gap, mostLooks); ++look)
        read("WHERE rowid=?1", static_cast<std::int64_t>(start + look), true);
    if (gap > mostLooks)
        read(upwards, end, true);
    else if (end > first && end < Numbers::max())
        read(upwards, end + 1, true);
}

} // namespace

void eraseDamagedFiles(const std::string &path) {
    const std::string folder = folderOf(path) + "/";
    const std::string aside = nameUnderRecovery(path);
    const std::unique_ptr<DIR, FolderCloser> open(::opendir(folder.c_str()));
    while (const dirent *const entry = open ? ::readdir(open.get()) : nullptr) {
        const std::string file = folder + entry->d_name;
        if (!file.starts_with(aside) || !isOfRecovery(std::string_view(file).substr(aside.size())))
            continue;
        if (!openOwnFile(file, O_RDONLY) && errno == EPERM)
            continue; // a folder, a link, another user's: not what was set aside
        overwrite(file);
        ::unlink(file.c_str());
    }
}

bool hasSuccessor(const std::string &path) {
    return lengthOf(path).value_or(0) > 0; // a shell makes an empty one
}

std::string setDamagedFileAside(const std::string &path) {
    std::string aside = nameUnderRecovery(path);
    if (!lengthOf(aside))
        rename(path, aside);
    if (!hasSuccessor(path)) { // else a new file stands there already, with a log of its own
        renameLog(path, aside);
        remove(path, {"-shm"}); // only an index, made again from the log
    }
    return aside;
}

PreferencesRows readableRows(const std::string &aside, bool isShared) {
    createPreferencesFile(aside, isShared); // it is there, but what SQLite opens beside it
    inspectPreferencesFile(aside, isShared);
    restoreLength(aside);
    PreferencesRows rows;
    SQLiteConnection connection;
    connection.open(aside, SQLiteConnection::Access::readWrite);
    connection.execute("PRAGMA query_only=1");
    const Table tables[] = {{PreferencesRows::entryColumns, &PreferencesRows::takeEntry},
                            {PreferencesRows::recordColumns, &PreferencesRows::takeRecord},
                            {PreferencesRows::handoverColumns, &PreferencesRows::takeHandover}};
    if (isForeign(connection)) // nothing of it is executed
        return rows;
    for (const Table &table : tables) {
        try {
            salvage(connection, table, rows);
        } catch (const PreferencesTrouble &trouble) {
            if (isOfTheDisk(trouble))
                throw;
        } // else what has been read by then is all that there is
    }
    // Lists that version 1 kept as data are told by their bytes, whatever the damaged file says.
    rows.finish(1);
    return rows;
}

std::string placeForNewFile(const std::string &path) {
    std::string fresh = path + "-new";
    remove(fresh, {"", "-wal", "-shm"});
    return fresh;
}

void putNewFileInPlace(const std::string &fresh, const std::string &path) {
    rename(fresh, path);
    remove(fresh, {"-wal", "-shm"});
    syncFolder(folderOf(path));
}

std::string keepDamagedFile(const std::string &path) {
    const std::string aside = nameUnderRecovery(path);
    const std::string base = aside + "-" + stampOfNow();
    std::string target = base;
    for (int number = 2; lengthOf(target); ++number)
        target = formatText("%@-%d", base, number);
    renameLog(aside, target);
    rename(aside, target);
    remove(aside, {"-shm", "-journal", "-lock"});
    return target;
}

} // namespace vmr
