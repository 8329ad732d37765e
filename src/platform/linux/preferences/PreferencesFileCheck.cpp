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

struct Found {
    bool exists = false;
    struct stat status {};
};

PreferencesTrouble refused(std::string text) {
    return {Kind::refused, std::move(text)};
}

PreferencesTrouble checkFolder(const std::string &folder, uid_t user) {
    struct stat status {};
    if (::lstat(folder.c_str(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return refused(
                formatText("lies in the folder %@, which does not exist; make the folder or "
                           "name another path",
                           folder));
        return refused(
            formatText("lies in the folder %@, which cannot be read (%@); name another path",
                       folder, std::strerror(errno)));
    }
    if (S_ISLNK(status.st_mode))
        return refused(formatText(
            "lies in %@, which is a symbolic link; name the folder it points to", folder));
    if (!S_ISDIR(status.st_mode))
        return refused(formatText("lies in %@, which is no folder; name another path", folder));
    if (status.st_uid != user && status.st_uid != 0)
        return refused(
            formatText("lies in the folder %@, which belongs to another user; name a folder "
                       "of this user",
                       folder));
    if ((status.st_mode & S_IWOTH) != 0 && (status.st_mode & S_ISVTX) == 0)
        return refused(formatText(
            "lies in the folder %@, where every user may write; run chmod o-w on it", folder));
    if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0)
        return {};
    if (errno == EROFS)
        return {Kind::readOnly,
                "lies on a file system that is mounted read-only; mount it writable "
                "or name another path"};
    return refused(
        formatText("lies in the folder %@, where this user may not write (%@); name another path",
                   folder, std::strerror(errno)));
}

/// `name` is empty for the file itself; `rights` is what the user must have.
PreferencesTrouble checkFile(const std::string &path, const std::string &name, int rights,
                             uid_t user, Found &found) {
    struct stat &status = found.status;
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT)
            return {};
        return refused(formatText("cannot be reached (%@); check the path and its rights",
                                  std::strerror(errno)));
    }
    const std::string subject = name.empty() ? "" : formatText("has a companion %@ that ", name);
    if (S_ISLNK(status.st_mode))
        return refused(subject + "is a symbolic link; remove the link or name its target");
    if (!S_ISREG(status.st_mode))
        return refused(subject + "is not a regular file; remove it or name another path");
    found.exists = true;
    if (status.st_uid != user)
        return refused(subject + "belongs to another user; run chown on it or name another path");
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return refused(subject + "can be written by other users; check its content, then run "
                                 "chmod 600 on it");
    const bool hasRights = (status.st_mode & S_IRUSR) != 0 && (status.st_mode & S_IWUSR) != 0;
    if (!hasRights && ::faccessat(AT_FDCWD, path.c_str(), rights, AT_EACCESS) != 0)
        return refused(
            formatText("%@cannot be read and written by this user (%@); run chmod 600 on it",
                       subject, std::strerror(errno)));
    return {};
}

off_t sizeOf(const std::string &path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_size : 0;
}

constexpr std::array suffixes = {"", "-wal", "-shm", "-journal", "-lock"};

} // namespace

std::optional<FileIdentity> identityOf(const std::string &path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

PreferencesTrouble inspectPreferencesFile(const std::string &path, bool takesRights) {
    if (path.empty())
        return refused("has no place, because this user has no home directory; name one");
    const uid_t user = ::geteuid();
    PreferencesTrouble place = checkFolder(folderOf(path), user);
    if (place && place.kind != Kind::readOnly)
        return place;
    const int rights = place ? R_OK : R_OK | W_OK;
    std::array<Found, suffixes.size()> found;
    auto each = found.begin();
    for (const char *suffix : suffixes) {
        if (PreferencesTrouble trouble = checkFile(path + suffix, suffix, rights, user, *each++))
            return trouble;
    }
    each = found.begin();
    for (const char *suffix : suffixes) {
        const Found &file = *each++;
        if (takesRights && !place && file.exists && (file.status.st_mode & 0777) != 0600)
            ::chmod((path + suffix).c_str(), 0600);
    }
    return place;
}

PreferencesTrouble checkPreferencesLength(const std::string &path) {
    // SQLite takes an empty file for a new one and throws its log away.
    if (sizeOf(path) == 0 && sizeOf(path + "-wal") > 0)
        return {Kind::damaged, "is damaged (it is empty, but its log is not)"};
    return {};
}

PreferencesTrouble createPreferencesFile(const std::string &path) {
    const OwnedDescriptor created(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (created) {
        ::fchmod(created.get(), 0600);
        return {};
    }
    return errno == EEXIST ? PreferencesTrouble() : troubleOfErrno("cannot be made", errno);
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
    const std::string text = what + " (" + std::strerror(error) + ")";
    if (error == ENOSPC || error == EDQUOT || error == EFBIG)
        return {Kind::failed, text + "; free some space on its disk"};
    if (error == EACCES || error == EPERM || error == EROFS || error == ENOENT || error == ENOTDIR)
        return {Kind::refused, text + "; name a place where this user may write"};
    if (error == EMFILE || error == ENFILE)
        return {Kind::failed, text + "; raise the limit of open files"};
    return {Kind::failed, text + "; check its disk"};
}

} // namespace vmr
