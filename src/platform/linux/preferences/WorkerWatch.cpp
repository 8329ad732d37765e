#include "platform/linux/preferences/WorkerWatch.h"

#include "platform/linux/preferences/ForeignWriteWatch.h"

#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vmr {

WorkerWatch::WorkerWatch(const PreferencesLoop &loop, const std::string &path, pid_t worker,
                         std::function<void()> onEnd)
    : loop_(loop), worker_(worker), lockFile_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    if (!loop_.watchDescriptor)
        return;
#ifdef SYS_pidfd_open
    if (worker > 0 && worker != ::getpid()) // it closes with an exec of its own accord
        process_ = OwnedDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, worker, 0)));
#endif
    if (process_)
        loop_.watchDescriptor(process_.get(), onEnd);
    if (!lockFile_)
        return;
    ::inotify_add_watch(lockFile_.get(), (path + "-lock").c_str(), IN_CLOSE_WRITE);
    loop_.watchDescriptor(lockFile_.get(), [onEnd, descriptor = lockFile_.get()] {
        ForeignWriteWatch::drain(descriptor);
        onEnd();
    });
}

WorkerWatch::~WorkerWatch() {
    for (const OwnedDescriptor *watched : {&process_, &lockFile_}) {
        if (*watched && loop_.unwatchDescriptor)
            loop_.unwatchDescriptor(watched->get());
    }
}

} // namespace vmr
