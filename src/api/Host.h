#pragma once

#include "platform/Mutex.h"
#include "platform/linux/LinuxPlatform.h"

#include <VelmoraKit/velmora.h>

#include <atomic>
#include <optional>
#include <string>

namespace vmr::api {

/// What the public interface keeps of its process: the options until they are needed, and the
/// platform that the first use makes of them. Never destroyed. Safe from any thread.
class Host {
public:
    static Host &shared();

    /// Throws a Refusal when it comes too late.
    void configure(LinuxOptions options);
    /// The same; each wins over what the options say, whichever comes first. `transport` is called
    /// with a copy of `given`.
    void setLogSink(std::function<void(std::string_view line, LogLevel level)> sink);
    void setTransport(const velmora_transport &given, const HostTransport &transport);
    /// Made and installed by the first call.
    const LinuxPlatform &platform();

    /// The file that the host named, if it did and does not send by itself.
    std::optional<std::string> certificateAuthorityFile();

    static void markStarted(bool is) noexcept { started.store(is, std::memory_order_release); }
    /// Makes no host.
    static bool isStarted() noexcept { return started.load(std::memory_order_acquire); }

    /// Takes the main run loop for the calling thread if it is free; throws a Refusal when it
    /// belongs to another one.
    void requireMainThread();

private:
    Host() = default;
    void requireUnused() VMR_REQUIRES(mutex_);

    static inline std::atomic<bool> started{false};
    std::atomic<const LinuxPlatform *> platform_{nullptr};
    /// Written once, before `platform_` says so.
    LinuxPlatform made_;
    Mutex mutex_;
    bool configured_ VMR_GUARDED_BY(mutex_) = false;
    LinuxOptions options_ VMR_GUARDED_BY(mutex_);
    velmora_transport transport_ VMR_GUARDED_BY(mutex_){};
};

} // namespace vmr::api
