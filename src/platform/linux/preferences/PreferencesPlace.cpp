#include "platform/linux/preferences/PreferencesPlace.h"

#include "platform/Hexadecimal.h"
#include "platform/SHA256.h"
#include "platform/linux/ExecutablePath.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace vmr {
namespace {

/// Null where the variable names none.
const char *absoluteDirectory(const char *name) {
    // A program with more rights than its caller does not take the caller's word.
    const char *text = ::secure_getenv(name);
    return text && text[0] == '/' ? text : nullptr;
}

std::string homeDirectory() {
    if (const char *const home = absoluteDirectory("HOME"))
        return home;
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd *found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
        return {};
    return found->pw_dir && found->pw_dir[0] == '/' ? found->pw_dir : "";
}

std::string executableName() {
    const std::string path = executablePath();
    std::string name = path.substr(path.rfind('/') + 1);
    constexpr std::string_view gone = " (deleted)";
    if (name.size() > gone.size() && name.ends_with(gone))
        name.resize(name.size() - gone.size());
    return name;
}

/// Where the state's folders begin: all above it is the user's, or an administrator's, to arrange.
std::string baseFolder() {
    const char *const state = absoluteDirectory("XDG_STATE_HOME");
    return state != nullptr ? state : homeDirectory();
}

/// One plain folder name, whatever the host calls itself.
std::string plainName(std::string name) {
    std::replace(name.begin(), name.end(), '/', '_');
    if (name.empty() || name[0] == '.')
        name.insert(name.begin(), '_');
    return name.substr(0, 200);
}

/// Two names never share a folder, though what cannot be a folder's name is left out: then a digest
/// tells them apart, unless the folder was made before there was one.
std::string folderFor(const std::string &parent, const std::string &name) {
    const std::string plain = plainName(name);
    if (plain == name)
        return parent + plain;
    std::string digest = "-";
    appendHexadecimal(digest, bytesOf(sha256(name)).substr(0, 8));
    const std::string own = parent + plain.substr(0, 180) + digest;
    const bool isOld =
        ::access(own.c_str(), F_OK) != 0 && ::access((parent + plain).c_str(), F_OK) == 0;
    return isOld ? parent + plain : own;
}

} // namespace

std::string defaultPreferencesPath(const std::string &bundleIdentifier) {
    const std::string base = baseFolder();
    if (base.empty())
        return {};
    const bool isHome = absoluteDirectory("XDG_STATE_HOME") == nullptr;
    return folderFor(base + (isHome ? "/.local/state/VelmoraKit/" : "/VelmoraKit/"),
                     bundleIdentifier.empty() ? executableName() : bundleIdentifier) +
           "/preferences.sqlite";
}

void makePreferencesFolder(const std::string &path, bool isShared) {
    if (::access(folderOf(path).c_str(), F_OK) == 0)
        return;
    if (!isShared)
        checkedWay(folderOf(path), ::geteuid());
    const std::size_t base = baseFolder().size();
    OwnedDescriptor folder(::open("/", O_DIRECTORY | O_CLOEXEC));
    std::size_t begin = 1;
    for (auto end = path.find('/', begin); end != std::string::npos; end = path.find('/', begin)) {
        const std::string name = path.substr(begin, end - begin);
        begin = end + 1;
        if (name.empty())
            continue;
        const int error = ::mkdirat(folder.get(), name.c_str(), 0700) == 0 ? 0 : errno;
        if (error == 0) // the umask may have taken the owner's own rights
            changeRights(folder.get(), name, 0700);
        struct stat status {};
        const bool mayLead =
            (error != 0 && end <= base) ||
            (::fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
             isLinkOfRoot(status));
        const int link = mayLead ? 0 : O_NOFOLLOW;
        folder = OwnedDescriptor(
            ::openat(folder.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC | link));
        if (folder)
            continue;
        const std::string_view needed = std::string_view(path).substr(0, end);
        if (errno == ENOTDIR)
            fail(PreferencesTrouble::Kind::refused,
                 "needs the folder %@, which is a symbolic link or not a folder; name another path",
                 {needed});
        failWith(errno == ENOENT ? error : errno, "needs the folder %@, which cannot be made",
                 {needed});
    }
}

} // namespace vmr
