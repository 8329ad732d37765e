#include "platform/linux/preferences/PreferencesFileCheck.h"

#include "platform/Format.h"
#include "platform/linux/OwnedDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace vmr {
namespace {

using Kind = PreferencesTrouble::Kind;

/// `text` has a place for the subject and one for the error.
[[noreturn]] void refuse(std::string_view text, const std::string &subject, int error = 0) {
    throw PreferencesTrouble{Kind::refused, formatText(text, subject, std::strerror(error))};
}

int errnoOf(int result) {
    return result == 0 ? 0 : errno;
}

bool isMissing(int error) {
    return error == ENOENT || error == ENOTDIR;
}

/// False where there is no file.
bool statusOf(const std::string &path, struct stat &status) {
    const int error = errnoOf(::lstat(path.c_str(), &status));
    if (error != 0 && !isMissing(error))
        throw troubleOfErrno("cannot be reached", error);
    return error == 0;
}

/// False where nothing can be written because the file system is mounted so.
bool checkFolder(const std::string &folder, uid_t user) {
    struct stat status {};
    if (const int error = errnoOf(::lstat(folder.c_str(), &status)); isMissing(error))
        refuse("lies in the folder %@, which does not exist; make the folder or name another path",
               folder);
    else if (error != 0)
        throw troubleOfErrno("lies in the folder " + folder + ", which cannot be read", error);
    if (S_ISLNK(status.st_mode))
        refuse("lies in %@, which is a symbolic link; name the folder it points to", folder);
    if (!S_ISDIR(status.st_mode))
        refuse("lies in %@, which is no folder; name another path", folder);
    if (status.st_uid != user && status.st_uid != 0)
        refuse("lies in the folder %@, which belongs to another user; name a folder of this user",
               folder);
    if ((status.st_mode & S_IWOTH) != 0 && (status.st_mode & S_ISVTX) == 0)
        refuse("lies in the folder %@, where every user may write; run chmod o-w on it", folder);
    if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0)
        return true;
    if (errno != EROFS)
        refuse("lies in the folder %@, where this user may not write (%@); name another path",
               folder, errno);
    return false;
}

/// `name` is empty for the file itself; `rights` is what the user must have.
void checkFile(const std::string &path, const struct stat &status, const std::string &name,
               int rights, uid_t user) {
    const std::string subject = name.empty() ? "" : formatText("has a companion %@ that ", name);
    if (S_ISLNK(status.st_mode))
        refuse("%@is a symbolic link; remove the link or name its target", subject);
    if (!S_ISREG(status.st_mode))
        refuse("%@is not a regular file; remove it or name another path", subject);
    if (status.st_uid != user)
        refuse("%@belongs to another user; run chown on it or name another path", subject);
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        refuse("%@can be written by other users; check its content, then run chmod 600 on it",
               subject);
    const bool hasRights = (status.st_mode & S_IRUSR) != 0 && (status.st_mode & S_IWUSR) != 0;
    if (!hasRights && ::faccessat(AT_FDCWD, path.c_str(), rights, AT_EACCESS) != 0)
        refuse("%@cannot be read and written by this user (%@); run chmod 600 on it", subject,
               errno);
}

constexpr std::array suffixes = {"", "-wal", "-shm", "-journal", "-lock"};

} // namespace

std::optional<FileIdentity> identityOf(const std::string &path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

bool leadsElsewhere(const std::string &path, const std::optional<FileIdentity> &identity) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return isMissing(errno);
    return identity && FileIdentity{status.st_dev, status.st_ino} != *identity;
}

PreferencesFileState inspectPreferencesFile(const std::string &path) {
    if (path.empty())
        refuse("has no place, because this user has no home directory; name one", path);
    const uid_t user = ::geteuid();
    const bool isWritable = checkFolder(folderOf(path), user);
    PreferencesFileState state;
    for (const std::string suffix : suffixes) {
        struct stat status {};
        if (!statusOf(path + suffix, status))
            continue;
        checkFile(path + suffix, status, suffix, isWritable ? R_OK | W_OK : R_OK, user);
        state.isPrivate = state.isPrivate && (status.st_mode & 0777) == 0600;
        if (suffix.empty()) {
            state.identity = {status.st_dev, status.st_ino};
            state.length = status.st_size;
        } else if (suffix == "-wal") {
            state.logLength = status.st_size;
        }
    }
    if (!isWritable)
        throw PreferencesTrouble{Kind::readOnly,
                                 "lies on a file system that is mounted read-only; mount it "
                                 "writable or name another path"};
    return state;
}

void takeReadRights(const std::string &path) {
    for (const char *suffix : suffixes) {
        ::chmod((path + suffix).c_str(), 0600);
    }
}

std::optional<off_t> lengthOf(const std::string &path) {
    struct stat status {};
    return statusOf(path, status) ? std::optional(status.st_size) : std::nullopt;
}

void PreferencesFileState::checkLength() const {
    const bool hasLog = logLength > 0;
    // SQLite takes an empty file, and one of a single byte, for a new one and throws its log away.
    if (length <= 1 && hasLog)
        throw PreferencesTrouble{Kind::damaged, "is damaged (it is empty, but its log is not)"};
    if (length == 1 && !hasLog)
        throw otherFile();
}

PreferencesTrouble otherFile() {
    return {Kind::refused, "is no preferences file, but one of another kind; name another path, or "
                           "move it away"};
}

void createPreferencesFile(const std::string &path) {
    const OwnedDescriptor created(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (created)
        ::fchmod(created.get(), 0600);
    else if (errno != EEXIST)
        throw troubleOfErrno("cannot be made", errno);
}

std::string folderOf(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string resolvedFolder(const std::string &path) {
    const std::string folder = folderOf(path);
    const std::unique_ptr<char, void (*)(void *)> real(::realpath(folder.c_str(), nullptr),
                                                       &::free);
    if (!real)
        return path;
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::string prefix = real.get();
    return prefix == "/" ? "/" + name : prefix + "/" + name;
}

PreferencesTrouble troubleOfErrno(const std::string &what, int error) {
    const bool isFull = error == ENOSPC || error == EDQUOT || error == EFBIG;
    const bool hasNoRight = error == EACCES || error == EPERM || error == EROFS;
    const char *const remedy = isFull       ? "free some space on its disk"
                               : hasNoRight ? "name a place where this user may write"
                               : error == EMFILE || error == ENFILE
                                   ? "raise the limit of open files"
                                   : "check its disk";
    return {Kind::failed, what + " (" + std::strerror(error) + "); " + remedy};
}

} // namespace vmr
