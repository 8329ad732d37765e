#pragma once

#include "platform/linux/preferences/PreferencesTrouble.h"

#include <sys/types.h>

#include <optional>
#include <string>

namespace vmr {

/// Which file a path leads to.
struct FileIdentity {
    dev_t device;
    ino_t number;
    bool operator==(const FileIdentity &) const = default;
};
/// Nothing where there is none, or the system does not tell.
std::optional<FileIdentity> identityOf(const std::string &path);
/// Whether the path is known to lead to another file than this one, or to none.
bool leadsElsewhere(const std::string &path, const std::optional<FileIdentity> &identity);

/// A file, or the lack of one, that may be trusted with the user's data.
struct PreferencesFileState {
    std::optional<FileIdentity> identity; ///< nothing where there is none
    off_t length = 0;
    off_t logLength = 0;
    bool isPrivate = true; ///< nobody else can read it or what is beside it

    /// Throws when the file is damaged, or none of ours, in a way that SQLite would make worse: to
    /// be asked before it opens the file.
    void checkLength() const;
};

/// Looks at the file at `path`, and at what SQLite keeps beside it: no symbolic links, nobody
/// else's files, nothing that others may write; throws where that is not so. Opens nothing: closing
/// a descriptor of the file would drop the locks SQLite holds on it in this process.
PreferencesFileState inspectPreferencesFile(const std::string &path);

/// Takes other people's read rights away from a file that is ours, and from what is beside it.
void takeReadRights(const std::string &path);

/// How long the file is; nothing where there is none. Throws what keeps the system from telling.
std::optional<off_t> lengthOf(const std::string &path);

/// The trouble of a path that leads to something else than a database.
PreferencesTrouble otherFile();

/// Makes the empty file, readable and writable by this user alone whatever the umask, unless
/// somebody else has just done so.
void createPreferencesFile(const std::string &path);

/// The folder of the file at `path`.
std::string folderOf(const std::string &path);

/// The path with the links among the folders above resolved; SQLite itself refuses to follow any.
std::string resolvedFolder(const std::string &path);

/// The trouble of an errno, with a full disk told apart.
PreferencesTrouble troubleOfErrno(const std::string &what, int error);

} // namespace vmr
