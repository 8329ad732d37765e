#include "platform/linux/preferences/PreferencesInspection.h"

#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesLayout.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>

namespace vmr {
namespace {

using Kind = PreferencesTrouble::Kind;

constexpr std::chrono::milliseconds patience{500};

PreferencesTrouble checkPages(SQLiteConnection &connection) {
    SQLiteStatement check;
    if (const int code = connection.prepare("PRAGMA quick_check(1)", check))
        return connection.trouble(code);
    const int code = sqlite3_step(check.get());
    if (code != SQLITE_ROW)
        return connection.trouble(code);
    const auto *found = reinterpret_cast<const char *>(sqlite3_column_text(check.get(), 0));
    const std::string text = found != nullptr ? found : "";
    return text == "ok" ? PreferencesTrouble()
                        : PreferencesTrouble{Kind::damaged, "is damaged (" + text + ")"};
}

PreferencesTrouble inspectContent(const std::string &path,
                                  std::optional<std::int64_t> &formatVersion) {
    SQLiteConnection connection;
    if (const int code = connection.open(path, SQLiteConnection::Access::readOnly))
        return connection.trouble(code);
    sqlite3_db_config(connection.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    connection.waitForLocksUntil(std::chrono::steady_clock::now() + patience);
    std::int64_t version = 0;
    bool isNew = false;
    if (PreferencesTrouble trouble = readPreferencesLayout(connection, version, isNew))
        return trouble;
    if (!isNew)
        formatVersion = version;
    return checkPages(connection);
}

} // namespace

PreferencesInspection inspectPreferences(const std::string &path, bool isDefaultPlace) {
    PreferencesInspection result;
    if (path.empty()) {
        result.trouble = inspectPreferencesFile(path);
        return result;
    }
    const std::string resolved = resolvedFolder(path);
    const std::string folder = resolved.substr(0, resolved.rfind('/') + 1);
    struct stat status {};
    if (isDefaultPlace && ::stat(folder.c_str(), &status) != 0 && errno == ENOENT)
        return result;
    result.exists = ::lstat(resolved.c_str(), &status) == 0;
    result.trouble = inspectPreferencesFile(path);
    if (!result.trouble)
        result.trouble = checkPreferencesLength(resolved);
    if (!result.trouble && result.exists && status.st_size > 0)
        result.trouble = inspectContent(resolved, result.formatVersion);
    return result;
}

} // namespace vmr
