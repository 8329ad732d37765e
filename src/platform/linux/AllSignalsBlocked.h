#pragma once

#include <signal.h>

namespace vmr {

/// Blocks all signals of the calling thread while it lives. A thread that is started meanwhile
/// inherits the mask, so that the host's handlers never run on the SDK's threads.
class AllSignalsBlocked {
public:
    AllSignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &previous_);
    }
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked &) = delete;
    AllSignalsBlocked &operator=(const AllSignalsBlocked &) = delete;

private:
    sigset_t previous_{};
};

} // namespace vmr
