#include "platform/linux/preferences/PreferencesInspection.h"

#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesLayout.h"
#include "platform/linux/preferences/PreferencesRows.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vmr {
namespace {

constexpr std::chrono::milliseconds patience{500};

/// Without log and index nobody has it open, elsewhere neither.
bool isAtRest(const std::string &path) {
    struct stat log {};
    const bool hasLog = ::stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0;
    return !hasLog && ::access((path + "-shm").c_str(), F_OK) != 0;
}

void inspectContent(const std::string &path, bool hasJournal, PreferencesInspection &result) {
    SQLiteConnection connection;
    connection.open(path, SQLiteConnection::Access::readOnly);
    if (hasJournal)
        connection.requireDatabase();
    connection.waitForLocksUntil(std::chrono::steady_clock::now() + patience);
    const SQLiteTransaction whole(connection, "BEGIN");
    result.formatVersion = formatOfPreferences(connection);
    StatementUse check(connection, "PRAGMA quick_check(1)");
    check.step();
    if (const std::string_view text = textOfColumn(check.get(), 0); text != "ok")
        fail(PreferencesTrouble::Kind::damaged, "is damaged (%@)", {text});
}

} // namespace

PreferencesInspection inspectPreferences(const std::string &path, bool isDefaultPlace,
                                         bool isShared) {
    PreferencesInspection result;
    result.path = path;
    try {
        if (path.empty())
            inspectPreferencesFile(path, isShared); // says so
        SQLiteConnection::checkLibrary();
        const std::string resolved = resolvedFolder(path);
        struct stat status {};
        if (isDefaultPlace && ::stat(folderOf(resolved).c_str(), &status) != 0 && errno == ENOENT)
            return result;
        result.exists = ::lstat(resolved.c_str(), &status) == 0;
        const PreferencesFileState found = inspectPreferencesFile(path, isShared);
        found.checkLength();
        if (found.length > 0)
            inspectContent(resolved, found.hasJournal, result);
    } catch (PreferencesTrouble &trouble) {
        result.trouble = std::move(trouble);
    }
    return result;
}

PreferencesRows readRowsInPlace(const std::string &path) {
    using Access = SQLiteConnection::Access;
    PreferencesRows rows;
    if (::access(path.c_str(), F_OK) != 0)
        return rows;
    SQLiteConnection connection;
    connection.open(path, isAtRest(path) ? Access::immutable : Access::readOnly);
    const SQLiteTransaction whole(connection, "BEGIN");
    if (const std::optional<std::int64_t> version = formatOfPreferences(connection)) {
        rows.read(connection, *version);
        rows.finish(*version);
    }
    return rows;
}

} // namespace vmr
