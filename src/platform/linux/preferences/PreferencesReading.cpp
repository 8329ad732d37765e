#include "platform/linux/preferences/PreferencesReading.h"

#include "platform/linux/preferences/PreferencesInspection.h"

#include <sqlite3.h>
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

PreferencesTrouble readRowsInPlace(const std::string &path, std::vector<PreferencesChange> &rows) {
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
    SQLiteStatement select;
    if (isNew)
        return {};
    int code = connection.prepare("SELECT key,type,value FROM preferences", select);
    if (code != SQLITE_OK)
        return connection.trouble(code);
    std::vector<PreferencesChange> found;
    while ((code = sqlite3_step(select.get())) == SQLITE_ROW) {
        PreferencesKey key = PreferencesKey::read(select.get());
        auto column = PreferencesColumn::read(select.get(), 1, 2);
        if (key.isValid && column)
            found.push_back({std::move(key.text), std::move(column)});
    }
    if (PreferencesTrouble trouble = connection.trouble(code))
        return trouble;
    rows = std::move(found);
    return {};
}

} // namespace vmr
