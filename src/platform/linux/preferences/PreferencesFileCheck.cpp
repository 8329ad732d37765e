#include "platform/linux/preferences/PreferencesFileCheck.h"

#include "platform/Format.h"
#include "platform/linux/OwnedDescriptor.h"
#include "platform/linux/SmallFile.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

namespace vmr {
namespace {

using Kind = PreferencesTrouble::Kind;

std::string fileNameOf(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

std::string inFolder(const std::string &folder, const std::string &name) {
    return folder == "/" ? folder + name : folder + "/" + name;
}

/// `text` has a place for the subject and one for the error.
[[noreturn]] void refuse(std::string_view text, const std::string &subject, int error = 0) {
    fail(Kind::refused, text, {subject, std::strerror(error)});
}

int errnoOf(int result) {
    return result == 0 ? 0 : errno;
}

bool isMissing(int error) {
    return error == ENOENT || error == ENOTDIR;
}

bool isWrittenByOthers(const struct stat &status) {
    return (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

/// False where there is no file.
bool statusOf(const std::string &path, struct stat &status) {
    const int error = errnoOf(::lstat(path.c_str(), &status));
    if (error != 0 && !isMissing(error))
        failWith(error, "cannot be reached");
    return error == 0;
}

/// In a namespace that does not know a folder's owner, whoever that is is not in it.
bool isNobodyHere(uid_t user) {
    constexpr uid_t unknownUser = 65534;
    if (user != unknownUser)
        return false;
    std::string map;
    return readSmallFile("/proc/self/uid_map", 4096, map) == 0 &&
           map.find("4294967295") == std::string::npos; // else it knows all
}

bool isOfOthers(const struct stat &status, uid_t user) {
    return status.st_uid != user && status.st_uid != 0 && !isNobodyHere(status.st_uid);
}

/// False where nothing can be written because the file system is mounted so.
bool checkFolder(const std::string &folder, uid_t user, bool isShared) {
    struct stat status {};
    if (const int error = errnoOf(::lstat(folder.c_str(), &status)); isMissing(error))
        refuse("is in the folder %@, which does not exist; make the folder or name another path",
               folder);
    else if (error != 0)
        failWith(error, "is in the folder %@, which cannot be read", {folder});
    if (isLinkOfRoot(status) && ::stat(folder.c_str(), &status) != 0)
        failWith(errno, "is in the folder %@, which cannot be read", {folder});
    if (S_ISLNK(status.st_mode))
        refuse("is in %@, which is a symbolic link; name the folder it points to", folder);
    if (!S_ISDIR(status.st_mode))
        refuse("is in %@, which is not a folder; name another path", folder);
    if (status.st_uid != user && status.st_uid != 0)
        refuse("is in the folder %@, which belongs to another user; name a folder of this user",
               folder);
    if (isWrittenByOthers(status) && !isShared)
        refuse("is in the folder %@, where other users may write; run chmod go-w on it, name "
               "another path or allow a shared folder",
               folder);
    if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0)
        return true;
    if (errno == EROFS)
        return false;
    if (errno != EACCES && errno != EPERM)
        failWith(errno, "is in the folder %@, which cannot be read", {folder});
    refuse("is in the folder %@, where this user may not write (%@); name another path", folder,
           errno);
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
    if (status.st_nlink > 1)
        refuse("%@has a second name (a hard link); remove that one or name another path", subject);
    if (isWrittenByOthers(status))
        refuse("%@can be written by other users; check its content, then run chmod 600 on it",
               subject);
    const bool hasRights = (status.st_mode & S_IRUSR) != 0 && (status.st_mode & S_IWUSR) != 0;
    if (!hasRights && ::faccessat(AT_FDCWD, path.c_str(), rights, AT_EACCESS) != 0)
        refuse("%@cannot be read and written by this user (%@); run chmod 600 on it", subject,
               errno);
}

constexpr std::array suffixes = {"", "-wal", "-shm", "-journal", "-lock"};
/// What a process has left that ended while it replaced a damaged file is read by the next one.
constexpr std::array remains = {".damaged", ".damaged-wal", ".damaged-shm", ".damaged-journal"};

} // namespace

std::optional<FileIdentity> identityOf(const std::string &path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

bool isLinkOfRoot(const struct stat &status) {
    return S_ISLNK(status.st_mode) && status.st_uid == 0 && ::geteuid() != 0;
}

std::optional<off_t> lengthOfSame(const std::string &path,
                                  const std::optional<FileIdentity> &identity) {
    struct stat status {};
    const int error = errnoOf(::lstat(path.c_str(), &status));
    if (error != 0)
        return isMissing(error) ? std::nullopt : std::optional(std::numeric_limits<off_t>::max());
    const bool isSame = !identity || FileIdentity{status.st_dev, status.st_ino} == *identity;
    return isSame ? std::optional(status.st_size) : std::nullopt;
}

std::string checkedWay(const std::string &folder, uid_t user) {
    constexpr int mostLinks = 40; // as the system has it
    std::string rest = folder.starts_with('/') ? folder : resolvedFolder("./.") + "/" + folder;
    if (!rest.starts_with('/')) // whoever stands in a folder that was removed
        refuse("is in the folder %@, which does not exist; make the folder or name another path",
               folder);
    std::string way = "/";
    for (int followed = 0;;) {
        struct stat status {};
        const int error = errnoOf(::lstat(way.c_str(), &status));
        if (isMissing(error))
            return way;
        if (error != 0)
            failWith(error, "is below the folder %@, which cannot be read", {way});
        if (S_ISLNK(status.st_mode)) {
            if (isOfOthers(status, user))
                refuse("is behind the symbolic link %@, which belongs to another user; name the "
                       "folder it points to",
                       way);
            std::array<char, PATH_MAX> target{};
            const bool isLoop = ++followed > mostLinks;
            if (isLoop || ::readlink(way.c_str(), target.data(), target.size() - 1) < 0)
                failWith(isLoop ? ELOOP : errno, "is below the folder %@, which cannot be read",
                         {way});
            rest = target.data() + ("/" + rest);
            way = target[0] == '/' ? "/" : folderOf(way);
        } else if (isOfOthers(status, user) ||
                   (isWrittenByOthers(status) && (status.st_mode & S_ISVTX) == 0)) {
            refuse("is below the folder %@, where other users may put another one into its place; "
                   "take their rights away, name another path or allow a shared folder",
                   way);
        }
        const std::size_t begin = rest.find_first_not_of('/');
        if (begin == std::string::npos)
            return way;
        const std::size_t end = std::min(rest.find('/', begin), rest.size());
        const std::string name = rest.substr(begin, end - begin);
        rest.erase(0, end);
        if (name == "..")
            way = folderOf(way);
        else if (name != ".")
            way = inFolder(way, name);
    }
}

PreferencesFileState inspectPreferencesFile(const std::string &path, bool isShared) {
    if (path.empty())
        refuse("has no place, because this user has no home directory; name one", path);
    const uid_t user = ::geteuid();
    const bool isWritable = checkFolder(folderOf(path), user, isShared);
    PreferencesFileState state;
    state.path = isShared ? resolvedFolder(path)
                          : inFolder(checkedWay(folderOf(path), user), fileNameOf(path));
    const int rights = isWritable ? R_OK | W_OK : R_OK;
    struct stat status {};
    const auto isThere = [&](const std::string &suffix) {
        const std::string file = state.path + suffix;
        const bool isFound = statusOf(file, status);
        if (isFound)
            checkFile(file, status, suffix, rights, user);
        return isFound;
    };
    for (const char *suffix : remains) {
        state.isUnderRecovery = isThere(suffix) || state.isUnderRecovery;
        if (!state.isUnderRecovery)
            break; // without the first nobody reads the others
    }
    for (const std::string_view suffix : suffixes) {
        if (!isThere(std::string(suffix)))
            continue;
        state.isPrivate = state.isPrivate && (status.st_mode & 0777) == 0600;
        if (suffix.empty()) {
            state.identity = {status.st_dev, status.st_ino};
            state.length = status.st_size;
        } else if (suffix == "-wal") {
            state.logLength = status.st_size;
        } else if (suffix == "-journal") {
            state.hasJournal = true;
        }
    }
    if (!isWritable)
        fail(Kind::readOnly, "is on a file system that is mounted read-only; mount it writable or "
                             "name another path");
    return state;
}

bool changeRights(int folder, const std::string &name, mode_t rights) noexcept {
    return ::fchmodat(folder, name.c_str(), rights, AT_SYMLINK_NOFOLLOW) == 0;
}

void takeReadRights(const std::string &path) {
    for (const char *suffix : suffixes)
        changeRights(AT_FDCWD, path + suffix, 0600);
}

std::optional<off_t> lengthOf(const std::string &path) {
    struct stat status {};
    return statusOf(path, status) ? std::optional(status.st_size) : std::nullopt;
}

void PreferencesFileState::checkLength() const {
    const bool hasLog = logLength > 0;
    // SQLite takes an empty file, and one of a single byte, for a new one and throws its log away.
    if (length <= 1 && hasLog)
        fail(Kind::damaged, "is damaged (it is empty, but its log is not)");
    if (length == 1 && !hasLog)
        throw otherFile();
}

PreferencesTrouble otherFile() {
    return {Kind::refused,
            "is not a preferences file but one of another kind; name another path, or "
            "move it away"};
}

OwnedDescriptor openOwnFile(const std::string &path, int flags) {
    OwnedDescriptor file(
        ::open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600));
    struct stat status {};
    const bool isOwn = file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                       status.st_uid == ::geteuid() && status.st_nlink <= 1;
    if (file && !isOwn) {
        file = OwnedDescriptor();
        errno = EPERM;
    }
    if (isOwn && (flags & O_CREAT) != 0 && (status.st_mode & 0777) != 0600)
        ::fchmod(file.get(), 0600);
    return file;
}

void createPreferencesFile(const std::string &path, bool isShared) {
    for (const char *suffix : suffixes) {
        if (!openOwnFile(path + suffix, O_RDWR | O_CREAT | O_EXCL) && errno != EEXIST)
            failWith(errno, "cannot be made");
        if (!isShared) // else SQLite would open by name what somebody else has made meanwhile
            return;
    }
    inspectPreferencesFile(path, isShared);
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
    return real ? inFolder(real.get(), fileNameOf(path)) : path;
}

} // namespace vmr
