#include "platform/linux/http/CurlMulti.h"

#include "platform/linux/OwnedDescriptor.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>

namespace vmr {
namespace {

struct Pair {
    int receiver;
    int sender;
};

/// The two descriptors that the process gets next, unless another thread is quicker.
Pair nextDescriptors() {
    const OwnedDescriptor first(::eventfd(0, EFD_CLOEXEC));
    const OwnedDescriptor second(::eventfd(0, EFD_CLOEXEC));
    return {first.get(), second.get()};
}

struct Filled {
    bool receiver;
    bool sender;
};

Filled filled(Pair pair) {
    pollfd receiver{pair.receiver, POLLIN, 0};
    int unsent = 0;
    return {::poll(&receiver, 1, 0) == 1,
            ::ioctl(pair.sender, SIOCOUTQ, &unsent) == 0 && unsent > 0};
}

} // namespace

/// libcurl makes what interrupts its polls, a pair of sockets, without close-on-exec (an eventfd
/// with it, if the library is newer), and does not tell the numbers. What fills with our own
/// wake-up and empties with the next poll is it; where another thread was quicker, the handle is
/// made anew.
CURLM *openCurlMulti() {
    for (int attemptsLeft = 100;; --attemptsLeft) {
        const Pair pair = nextDescriptors();
        CURLM *multi = ::curl_multi_init();
        // Without descriptors for it the handle exists, but nobody could interrupt its polls.
        if (multi == nullptr || ::curl_multi_wakeup(multi) != CURLM_OK) {
            ::curl_multi_cleanup(multi);
            return nullptr;
        }
        const Filled woken = filled(pair);
        ::curl_multi_poll(multi, nullptr, 0, 0, nullptr);
        const Filled drained = filled(pair);
        const bool isReceiver = woken.receiver && !drained.receiver;
        const bool isSender = woken.sender && !drained.sender;
        const bool isPair = isReceiver && isSender;
        if (isPair) {
            ::fcntl(pair.receiver, F_SETFD, FD_CLOEXEC);
            ::fcntl(pair.sender, F_SETFD, FD_CLOEXEC);
        }
        const bool isKept =
            isPair || (isReceiver && (::fcntl(pair.receiver, F_GETFD) & FD_CLOEXEC) != 0);
        if (isKept || attemptsLeft == 0)
            return multi;
        ::curl_multi_cleanup(multi);
    }
}

} // namespace vmr
