#include "platform/Platform.h"

#include <atomic>
#include <cstdlib>

namespace vmr {
namespace {

// Never freed: workers may still look at a service while the process ends.
struct Installed {
    Platform services;
    const Installed *previous;
};

std::atomic<const Installed *> installed{nullptr};

} // namespace

const Platform &platform() {
    const Installed *current = installed.load(std::memory_order_acquire);
    if (current == nullptr)
        std::abort();
    return current->services;
}

void installPlatform(const Platform &services) {
    installed.store(new Installed{services, installed.load(std::memory_order_acquire)},
                    std::memory_order_release);
}

} // namespace vmr
