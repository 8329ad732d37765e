#include "platform/linux/preferences/PreferencesSync.h"

#include "platform/Locked.h"
#include "platform/linux/ForkedChild.h"
#include "platform/linux/OwnedDescriptor.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <vector>

namespace vmr {
namespace {

/// Never destroyed: the process may end at any time.
Locked<std::vector<PreferencesSync *>> &living() {
    static auto &all = *new Locked<std::vector<PreferencesSync *>>;
    return all;
}

} // namespace

int syncFile(const std::string &path) {
    const OwnedDescriptor file = openOwnFile(path, O_RDONLY);
    return file && ::fdatasync(file.get()) == 0 ? 0 : errno;
}

void syncFolder(const std::string &path) {
    const OwnedDescriptor folder(::open(path.c_str(), O_DIRECTORY | O_RDONLY | O_CLOEXEC));
    if (folder)
        ::fdatasync(folder.get());
}

int syncFileAgain(const std::string &path) {
    const OwnedDescriptor file = openOwnFile(path, O_RDWR);
    std::vector<char> bytes(1 << 16);
    off_t at = 0;
    for (ssize_t count = file ? 1 : -1; count != 0; at += count) {
        if (count > 0)
            count = ::pread(file.get(), bytes.data(), bytes.size(), at);
        if (count < 0 ||
            ::pwrite(file.get(), bytes.data(), static_cast<std::size_t>(count), at) != count)
            return errno;
    }
    return ::fdatasync(file.get()) == 0 ? 0 : errno;
}

PreferencesSync::PreferencesSync(const std::string &path)
    : log_(path + "-wal"), folder_(folderOf(path)) {
    static const int registered = std::atexit(atProcessEnd);
    static_cast<void>(registered);
    living().with([this](auto &all) { all.push_back(this); });
}

PreferencesSync::~PreferencesSync() {
    living().with([this](auto &all) { std::erase(all, this); });
}

void PreferencesSync::atProcessEnd() {
    if (isForkedChild())
        return;
    living().with([](auto &all) {
        for (PreferencesSync *one : all)
            if (one->isOwed_)
                one->run([&] { return syncFile(one->log_); });
    });
}

int PreferencesSync::run(FunctionRef<int()> again) {
    isOwed_.store(false);
    const int error = hasFailed() ? again() : syncFile(log_);
    failures_.store(error != 0 ? failures_ + 1 : 0);
    if (!isFolderSynced_.exchange(true)) // as far as its file system knows how to
        syncFolder(folder_);
    return error;
}

std::chrono::milliseconds PreferencesSync::patience() noexcept {
    return std::chrono::seconds(std::min(1 << std::clamp(failures_ - 1, 0, 6), 60));
}

} // namespace vmr
