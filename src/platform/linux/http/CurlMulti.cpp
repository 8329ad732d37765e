#include "platform/linux/http/CurlMulti.h"

#include "platform/linux/http/CurlLibrary.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace vmr {
namespace {

/// Told apart by what /proc calls it, "socket:[inode]": another thread's file may have had the same
/// number a moment ago.
struct OpenSocket {
    int descriptor;
    std::string name;
};

std::vector<OpenSocket> openSockets() {
    std::vector<OpenSocket> sockets;
    DIR *folder = ::opendir("/proc/self/fd");
    if (folder == nullptr)
        return sockets;
    while (const dirent *entry = ::readdir(folder)) {
        std::array<char, 64> target{};
        const ssize_t length =
            ::readlinkat(::dirfd(folder), entry->d_name, target.data(), target.size());
        std::string name(target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        if (name.starts_with("socket:"))
            sockets.push_back({std::atoi(entry->d_name), std::move(name)});
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
    for (const OpenSocket &each : openSockets()) {
        const int descriptor = each.descriptor;
        const bool wasThere =
            std::any_of(before.begin(), before.end(),
                        [&each](const OpenSocket &socket) { return socket.name == each.name; });
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
