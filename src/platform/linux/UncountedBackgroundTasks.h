#pragma once

#include "platform/BackgroundTasks.h"

#include <atomic>

namespace vmr {

/// A Linux process is never suspended for being in the background: tasks get increasing
/// identifiers, never expire, and ending one does nothing.
class UncountedBackgroundTasks final : public BackgroundTasks {
public:
    Identifier beginBackgroundTask(const std::string &, std::function<void()>) override {
        return ++last_;
    }
    void endBackgroundTask(Identifier) override {}

private:
    std::atomic<Identifier> last_{invalid};
};

} // namespace vmr
