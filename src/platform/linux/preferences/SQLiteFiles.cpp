#include "platform/linux/preferences/SQLiteFiles.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <thread>
#include <utility>

namespace vmr {
namespace {

using std::chrono::steady_clock;

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

struct Ahead {
    sqlite3_int64 begin = 0;
    sqlite3_int64 end = 0;
    sqlite3_int64 next = 0;
    sqlite3_int64 length = 0; ///< of the file
    std::array<char, 32 * 1024> bytes;
};

/// Stands behind what the system keeps of a database.
struct OpenDatabase {
    const sqlite3_io_methods *system;
    sqlite3_io_methods own;
    Ahead *ahead;
};

OpenDatabase &openDatabase(sqlite3_file *file) {
    return *reinterpret_cast<OpenDatabase *>(reinterpret_cast<char *>(file) +
                                             systemFiles()->szOsFile);
}

int read(sqlite3_file *file, void *bytes, int count, sqlite3_int64 at) {
    const sqlite3_io_methods *const system = openDatabase(file).system;
    Ahead *const ahead = openDatabase(file).ahead;
    if (ahead == nullptr)
        return system->xRead(file, bytes, count, at);
    const auto isThere = [&] { return ahead->begin <= at && at + count <= ahead->end; };
    const bool follows = std::exchange(ahead->next, at + count) == at;
    if (follows && !isThere() &&
        (ahead->length != 0 || system->xFileSize(file, &ahead->length) == SQLITE_OK)) {
        const auto most = static_cast<sqlite3_int64>(ahead->bytes.size());
        const int more = static_cast<int>(std::min(most, ahead->length - at));
        const bool isRead =
            more > 0 && system->xRead(file, ahead->bytes.data(), more, at) == SQLITE_OK;
        ahead->begin = at;
        ahead->end = isRead ? at + more : at;
    }
    if (!isThere()) // also where what follows stands in the way
        return system->xRead(file, bytes, count, at);
    std::memcpy(bytes, ahead->bytes.data() + (at - ahead->begin), static_cast<std::size_t>(count));
    return SQLITE_OK;
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
    openDatabase(file_).ahead = new Ahead;
}

SQLiteReadAhead::~SQLiteReadAhead() {
    delete std::exchange(openDatabase(file_).ahead, nullptr);
}

} // namespace vmr
