#include "platform/linux/preferences/PreferencesPlace.h"

#include "platform/linux/ExecutablePath.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace vmr {
namespace {

std::string absoluteDirectory(const char *name) {
    const char *text = std::getenv(name);
    return text && text[0] == '/' ? text : "";
}

std::string homeDirectory() {
    if (std::string home = absoluteDirectory("HOME"); !home.empty())
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

/// One plain folder name, whatever the host calls itself.
std::string folderName(std::string name) {
    for (char &character : name) {
        if (character == '/' || character == '\0')
            character = '_';
    }
    if (name.empty() || name[0] == '.')
        name.insert(name.begin(), '_');
    return name.substr(0, 200);
}

} // namespace

std::string defaultPreferencesPath(const std::string &bundleIdentifier) {
    std::string state = absoluteDirectory("XDG_STATE_HOME");
    if (state.empty()) {
        const std::string home = homeDirectory();
        if (home.empty())
            return {};
        state = home + "/.local/state";
    }
    const std::string name = bundleIdentifier.empty() ? executableName() : bundleIdentifier;
    return state + "/VelmoraKit/" + folderName(name) + "/preferences.sqlite";
}

void makePreferencesFolder(const std::string &path) {
    for (auto slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string folder = path.substr(0, slash);
        if (::mkdir(folder.c_str(), 0700) == 0) {
            ::chmod(folder.c_str(), 0700); // the umask may have taken the owner's own rights
            continue;
        }
        const int error = errno;
        if (error != EEXIST && ::access(folder.c_str(), F_OK) != 0)
            throw troubleOfErrno("needs the folder " + folder + ", which cannot be made", error);
    }
}

} // namespace vmr
