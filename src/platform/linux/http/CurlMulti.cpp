#include "platform/linux/http/CurlMulti.h"

#include "platform/linux/http/CurlLibrary.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <vector>

namespace vmr {
namespace {

/// Told apart by its inode: another thread's file may have had the same number a moment ago.
struct OpenSocket {
    int descriptor;
    ino_t inode;
};

std::vector<OpenSocket> openSockets() {
    std::vector<OpenSocket> sockets;
    DIR *folder = ::opendir("/proc/self/fd");
    if (folder == nullptr)
        return sockets;
    while (const dirent *entry = ::readdir(folder)) {
        int descriptor = -1;
        const char *end = entry->d_name + std::strlen(entry->d_name);
        struct stat status {};
        if (std::from_chars(entry->d_name, end, descriptor).ptr == end &&
            ::fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode))
            sockets.push_back({descriptor, status.st_ino});
    }
    ::closedir(folder);
    return sockets;
}

int socketOption(int descriptor, int option) {
    int value = -1;
    socklen_t size = sizeof value;
    return ::getsockopt(descriptor, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

int queued(int descriptor, unsigned long request) {
    int bytes = 0;
    return ::ioctl(descriptor, request, &bytes) == 0 ? bytes : 0;
}

/// libcurl makes the pair of sockets that interrupts a poll without close-on-exec, and does not
/// tell their numbers. They are the new one that holds exactly the bytes of our own wake-ups, and
/// the new one whose bytes are not read yet; where another thread opened such a one in the same
/// moment, what might be its own stays as it is.
bool keepWakeUpPairFromChildren(CURLM *multi, const std::vector<OpenSocket> &before) {
    constexpr int wakeUps = 7;
    for (int i = 0; i < wakeUps; ++i) {
        if (::curl_multi_wakeup(multi) != CURLM_OK)
            return false;
    }
    std::vector<int> senders;
    for (const auto &[descriptor, inode] : openSockets()) {
        const bool wasThere =
            std::any_of(before.begin(), before.end(), [number = inode](const OpenSocket &socket) {
                return socket.inode == number;
            });
        if (wasThere || socketOption(descriptor, SO_DOMAIN) != AF_UNIX ||
            socketOption(descriptor, SO_TYPE) != SOCK_STREAM)
            continue;
        if (queued(descriptor, FIONREAD) == wakeUps)
            ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        else if (queued(descriptor, SIOCOUTQ) > 0)
            senders.push_back(descriptor);
    }
    if (senders.size() == 1)
        ::fcntl(senders.front(), F_SETFD, FD_CLOEXEC);
    return ::curl_multi_poll(multi, nullptr, 0, 0, nullptr) == CURLM_OK;
}

} // namespace

void CleanUpMulti::operator()(CURLM *multi) const {
    CurlLibrary::shared().remove(multi);
    ::curl_multi_cleanup(multi);
}

CurlMulti openCurlMulti() {
    const std::vector<OpenSocket> before = openSockets();
    CURLM *multi = ::curl_multi_init();
    if (multi == nullptr)
        return nullptr;
    // Without descriptors for it the handle exists, but nobody could interrupt its polls.
    if (!keepWakeUpPairFromChildren(multi, before)) {
        ::curl_multi_cleanup(multi);
        return nullptr;
    }
    CurlLibrary::shared().add(multi);
    return CurlMulti(multi);
}

} // namespace vmr
