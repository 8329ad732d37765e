#include "platform/linux/preferences/SQLiteFiles.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <thread>
#include <utility>

namespace vmr {
namespace {

using std::chrono::steady_clock;

constexpr std::int64_t bytesAhead = 32 * 1024;

thread_local steady_clock::time_point deadlineOfWaits{};

int waitWithinDeadline(sqlite3_vfs *, int microseconds) {
    const auto left = deadlineOfWaits - steady_clock::now();
    std::this_thread::sleep_for(
        std::min<steady_clock::duration>(std::chrono::microseconds(microseconds), left));
    return microseconds;
}

/// Whoever opens a file has followed the links on the way to it.
int keepPath(sqlite3_vfs *, const char *path, int size, char *whole) {
    const std::size_t length = std::strlen(path);
    if (length >= static_cast<std::size_t>(size))
        return SQLITE_CANTOPEN;
    std::memcpy(whole, path, length + 1);
    return SQLITE_OK;
}

const sqlite3_vfs *systemFiles() {
    static const sqlite3_vfs *const files = sqlite3_vfs_find(nullptr);
    return files;
}

/// Stands behind what the system keeps of a database.
struct OpenDatabase {
    const sqlite3_io_methods *system;
    sqlite3_io_methods own;
    SQLiteReadAhead *ahead;
};

OpenDatabase &openDatabase(sqlite3_file *file) {
    return *reinterpret_cast<OpenDatabase *>(reinterpret_cast<char *>(file) +
                                             systemFiles()->szOsFile);
}

int read(sqlite3_file *file, void *bytes, int count, sqlite3_int64 at) {
    const OpenDatabase &open = openDatabase(file);
    return open.ahead != nullptr ? open.ahead->read(*open.system, file, bytes, count, at)
                                 : open.system->xRead(file, bytes, count, at);
}

int openFile(sqlite3_vfs *files, const char *path, sqlite3_file *file, int flags, int *given) {
    const int code = systemFiles()->xOpen(files, path, file, flags, given);
    if (code == SQLITE_OK && (flags & SQLITE_OPEN_MAIN_DB) != 0) {
        OpenDatabase &open = openDatabase(file);
        open = {file->pMethods, *file->pMethods, nullptr};
        open.own.xRead = read;
        file->pMethods = &open.own;
    }
    return code;
}

} // namespace

const char *SQLiteFiles::name() {
    // Of this copy of the library, and never destroyed.
    static const sqlite3_vfs *const files = [] {
        const sqlite3_vfs *const system = systemFiles();
        auto own = system != nullptr ? std::make_unique<sqlite3_vfs>(*system) : nullptr;
        char *const name = sqlite3_mprintf("velmora-%p", static_cast<void *>(own.get()));
        if (!own || name == nullptr)
            throw std::bad_alloc();
        own->zName = name;
        own->szOsFile += static_cast<int>(sizeof(OpenDatabase));
        own->xOpen = openFile;
        own->xFullPathname = keepPath;
        own->xSleep = waitWithinDeadline;
        sqlite3_vfs_register(own.get(), 0);
        return own.release();
    }();
    return files->zName;
}

void SQLiteFiles::waitUntil(steady_clock::time_point deadline) noexcept {
    deadlineOfWaits = deadline;
}

SQLiteReadAhead::SQLiteReadAhead(sqlite3 *database) {
    sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file_);
    openDatabase(file_).ahead = this;
}

SQLiteReadAhead::~SQLiteReadAhead() {
    openDatabase(file_).ahead = nullptr;
}

int SQLiteReadAhead::read(const sqlite3_io_methods &system, sqlite3_file *file, void *bytes,
                          int count, std::int64_t at) noexcept {
    const bool follows = std::exchange(next_, at + count) == at;
    const auto isThere = [&] { return begin_ <= at && at + count <= end_; };
    if (follows && !isThere())
        fill(system, file, at);
    if (!isThere())
        return system.xRead(file, bytes, count, at);
    std::memcpy(bytes, bytes_.get() + (at - begin_), static_cast<std::size_t>(count));
    return SQLITE_OK;
}

void SQLiteReadAhead::fill(const sqlite3_io_methods &system, sqlite3_file *file,
                           std::int64_t at) noexcept {
    if (!bytes_) {
        sqlite3_int64 length = 0;
        bytes_.reset(new (std::nothrow) char[bytesAhead]);
        length_ = bytes_ && system.xFileSize(file, &length) == SQLITE_OK ? length : 0;
    }
    const std::int64_t count = std::min(bytesAhead, length_ - at);
    begin_ = end_ = at;
    // Else SQLite tells what stands in the way of the page that it asks for.
    if (count > 0 && system.xRead(file, bytes_.get(), static_cast<int>(count), at) == SQLITE_OK)
        end_ = at + count;
}

} // namespace vmr
