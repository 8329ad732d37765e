#include "platform/linux/preferences/PreferencesReading.h"

#include "platform/linux/preferences/PreferencesLayout.h"

#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace vmr {
namespace {

/// Without log and index nobody has it open, elsewhere neither.
bool isAtRest(const std::string &path) {
    struct stat log {};
    const bool hasLog = ::stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0;
    return !hasLog && ::access((path + "-shm").c_str(), F_OK) != 0;
}

} // namespace

PreferencesTrouble readRowsInPlace(const std::string &path, PreferencesRows &rows) {
    using Access = SQLiteConnection::Access;
    if (::access(path.c_str(), F_OK) != 0)
        return {};
    SQLiteConnection connection;
    if (const int code =
            connection.open(path, isAtRest(path) ? Access::immutable : Access::readOnly))
        return connection.trouble(code);
    std::int64_t version = 0;
    bool isNew = false;
    if (PreferencesTrouble trouble = readPreferencesLayout(connection, version, isNew))
        return trouble;
    if (isNew)
        return {};
    PreferencesRows found;
    if (const int code = found.read(connection, version))
        return connection.trouble(code);
    found.finish(version);
    rows = std::move(found);
    return {};
}

} // namespace vmr
