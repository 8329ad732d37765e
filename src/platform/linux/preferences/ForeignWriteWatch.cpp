#include "platform/linux/preferences/ForeignWriteWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <utility>

namespace vmr {
namespace {

// What the watch of a log asks for is replaced in place, without an event.
constexpr std::uint32_t whileWatching = IN_MODIFY;
constexpr std::uint32_t whilePaused = IN_MOVE_SELF;

} // namespace

ForeignWriteWatch::ForeignWriteWatch()
    : notifications_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}

bool ForeignWriteWatch::watch(const std::string &path) {
    if (!notifications_)
        return false;
    for (const int watched : {watched_, watchedName_})
        if (watched >= 0)
            ::inotify_rm_watch(notifications_.get(), watched);
    paused_ = false;
    log_ = path + "-wal";
    watched_ = ::inotify_add_watch(notifications_.get(), log_.c_str(), whileWatching);
    watchedName_ =
        ::inotify_add_watch(notifications_.get(), path.c_str(), IN_ATTRIB | IN_MOVE_SELF);
    return watched_ >= 0;
}

void ForeignWriteWatch::watchClosing(const std::string &path) noexcept {
    ::inotify_add_watch(notifications_.get(), path.c_str(), IN_CLOSE_WRITE);
}

void ForeignWriteWatch::pause() noexcept {
    if (watched_ >= 0 && !std::exchange(paused_, true))
        ::inotify_add_watch(notifications_.get(), log_.c_str(), whilePaused);
}

void ForeignWriteWatch::resume() noexcept {
    if (watched_ >= 0 && std::exchange(paused_, false))
        ::inotify_add_watch(notifications_.get(), log_.c_str(), whileWatching);
}

void ForeignWriteWatch::drain(int descriptor) noexcept {
    std::array<char, 4096> events{};
    while (::read(descriptor, events.data(), events.size()) > 0) {
    }
}

} // namespace vmr
