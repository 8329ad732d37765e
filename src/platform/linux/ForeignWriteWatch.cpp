#include "platform/linux/ForeignWriteWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>

namespace vmr {

int ForeignWriteWatch::open() {
    if (!notifications_)
        notifications_ = OwnedDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    return notifications_.get();
}

bool ForeignWriteWatch::watch(const std::string &path) {
    if (!notifications_)
        return false;
    if (watched_ >= 0)
        ::inotify_rm_watch(notifications_.get(), watched_);
    watched_ = ::inotify_add_watch(notifications_.get(), (path + "-wal").c_str(), IN_MODIFY);
    return watched_ >= 0;
}

void ForeignWriteWatch::drain() const noexcept {
    std::array<char, 4096> events{};
    while (notifications_ && ::read(notifications_.get(), events.data(), events.size()) > 0) {
    }
}

} // namespace vmr
