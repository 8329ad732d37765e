#pragma once

#include "platform/linux/OwnedDescriptor.h"
#include "platform/linux/preferences/SQLitePreferencesOptions.h"

#include <sys/types.h>

#include <functional>
#include <string>

namespace vmr {

/// Calls a function on the main run loop when the process in charge of a store may have ended or
/// given it up. Two descriptors are needed: one sees a process that dies while a child of it lives
/// on, the other one that goes on without the store, or that cannot be seen from here.
class WorkerWatch {
public:
    WorkerWatch(const PreferencesLoop &loop, const std::string &path, pid_t worker,
                std::function<void()> onEnd);
    ~WorkerWatch();
    WorkerWatch(const WorkerWatch &) = delete;
    WorkerWatch &operator=(const WorkerWatch &) = delete;

    pid_t worker() const noexcept { return worker_; }

private:
    const PreferencesLoop &loop_;
    const pid_t worker_;
    OwnedDescriptor process_;
    OwnedDescriptor lockFile_;
};

} // namespace vmr
