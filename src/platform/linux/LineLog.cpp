#include "platform/linux/LineLog.h"

#include "platform/Text.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace vmr {
namespace {

/// Keeps a write to a closed pipe from raising SIGPIPE, for this thread and this while only.
class PipeSignalHeldBack {
public:
    PipeSignalHeldBack() noexcept {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &previous_);
        // Nothing else can be pending.
        if (sigismember(&previous_, SIGPIPE) == 1) {
            sigset_t pending;
            sigpending(&pending);
            wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        }
    }
    ~PipeSignalHeldBack() {
        // Takes back the signal that the write raised, never one that was the host's.
        if (raised && !wasPending_) {
            const timespec atOnce{};
            while (sigtimedwait(&pipe_, nullptr, &atOnce) < 0 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    }
    PipeSignalHeldBack(const PipeSignalHeldBack &) = delete;
    PipeSignalHeldBack &operator=(const PipeSignalHeldBack &) = delete;

    bool raised = false;

private:
    sigset_t pipe_{};
    sigset_t previous_{};
    bool wasPending_ = false;
};

template <std::size_t size>
std::string_view prefix(std::array<char, size> &buffer) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const long offset = local.tm_gmtoff / 60;
    const int length = std::snprintf(
        buffer.data(), size, "%04d-%02d-%02d %02d:%02d:%02d.%06ld%c%02ld%02ld %.64s[%d:%d] ",
        local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
        local.tm_sec, now.tv_nsec / 1000, offset < 0 ? '-' : '+', std::labs(offset) / 60,
        std::labs(offset) % 60, program_invocation_short_name, getpid(), gettid());
    // Whoever starts the program chooses its name.
    std::replace_if(
        buffer.begin(), buffer.end(), [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '?');
    return {buffer.data(), std::min(static_cast<std::size_t>(std::max(length, 0)), size - 1)};
}

} // namespace

LineLog::LineLog(Sink sink) : sink_(std::move(sink)) {}

void LineLog::write(std::string_view line, LogLevel level) noexcept {
    thread_local bool inSink = false;
    if (std::exchange(inSink, true))
        return;
    const int savedErrno = errno;
    try {
        std::string made;
        sink_(visibleLine(line, made), level);
    } catch (...) {
        // The log itself has failed; there is nowhere left to say so.
    }
    errno = savedErrno;
    inSink = false;
}

void writeToStandardError(std::string_view line, LogLevel) noexcept {
    // Of a line that only fits in part the rest is lost, but not the end.
    static std::atomic<bool> wasCut{false};
    std::array<char, 160> buffer{};
    const bool isOwed = wasCut.exchange(false);
    std::array<iovec, 4> parts{piece(isOwed ? "\n" : ""), piece(prefix(buffer)), piece(line),
                               piece("\n")};
    bool isBegun = false;
    PipeSignalHeldBack heldBack;
    for (std::size_t first = 0; first < parts.size();) {
        // Nobody may read it: the line is left out rather than the host's thread held up.
        pollfd ready{STDERR_FILENO, POLLOUT, 0};
        const ssize_t count = ::poll(&ready, 1, 0) == 0
                                  ? 0
                                  : ::writev(STDERR_FILENO, parts.data() + first,
                                             static_cast<int>(parts.size() - first));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            heldBack.raised = count < 0 && errno == EPIPE;
            if (isBegun || isOwed)
                wasCut.store(true);
            break;
        }
        // Only a line that does not fit into a pipe comes out in pieces.
        isBegun = true;
        auto written = static_cast<std::size_t>(count);
        for (; first < parts.size() && written >= parts[first].iov_len; ++first)
            written -= parts[first].iov_len;
        if (first < parts.size()) {
            parts[first].iov_base = static_cast<char *>(parts[first].iov_base) + written;
            parts[first].iov_len -= written;
        }
    }
}

} // namespace vmr
