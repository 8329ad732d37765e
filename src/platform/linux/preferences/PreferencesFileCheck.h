#pragma once

#include "platform/linux/OwnedDescriptor.h"
#include "platform/linux/preferences/PreferencesTrouble.h"

#include <sys/stat.h>
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
/// How long this file is; nothing where the path is known to lead to another one, or to none. As
/// long as can be where the system does not tell.
std::optional<off_t> lengthOfSame(const std::string &path,
                                  const std::optional<FileIdentity> &identity);

/// A file, or the lack of one, that may be trusted with the user's data.
struct PreferencesFileState {
    std::string path;                     ///< without links among its folders
    std::optional<FileIdentity> identity; ///< nothing where there is none
    off_t length = 0;
    off_t logLength = 0;
    bool hasJournal = false;
    bool isPrivate = true;        ///< nobody else can read it or what is beside it
    bool isUnderRecovery = false; ///< a process ended while it replaced a damaged one

    /// Throws when the file is damaged, or none of ours, in a way that SQLite would make worse: to
    /// be asked before it opens the file.
    void checkLength() const;
};

/// A link that an administrator has made for another user, as systemd does for DynamicUser=.
bool isLinkOfRoot(const struct stat &status);

/// The folder without links on the way to it, as far as that exists. Throws where somebody other
/// than this user can put another folder, or link, into the place of one.
std::string checkedWay(const std::string &folder, uid_t user);

/// Looks at the file at `path`, and at what SQLite keeps beside it: no symbolic links, nobody
/// else's files, nothing that others may write; throws where that is not so. Opens nothing: closing
/// a descriptor of the file would drop the locks SQLite holds on it in this process.
/// What others could put in its place counts as theirs, unless the folder `isShared`.
PreferencesFileState inspectPreferencesFile(const std::string &path, bool isShared);

/// Changes the rights of a file in an open folder, following no link.
bool changeRights(int folder, const std::string &name, mode_t rights) noexcept;

/// Takes other people's read rights away from a file that is ours, and from what is beside it.
void takeReadRights(const std::string &path);

/// How long the file is; nothing where there is none. Throws what keeps the system from telling.
std::optional<off_t> lengthOf(const std::string &path);

/// The trouble of a path that leads to something else than a database.
PreferencesTrouble otherFile();

/// Opens a regular file of this user's without following a link or waiting for anybody; one that it
/// makes is for this user alone, whatever the umask. Else errno tells why not. Never for the
/// database itself, whose locks would go with the descriptor.
OwnedDescriptor openOwnFile(const std::string &path, int flags);

/// Makes the empty file where it is missing, and in a shared folder what stands beside it, too.
void createPreferencesFile(const std::string &path, bool isShared);

/// The folder of the file at `path`.
std::string folderOf(const std::string &path);

/// The path with the links among the folders above resolved; SQLite itself refuses to follow any.
std::string resolvedFolder(const std::string &path);

} // namespace vmr
