#include "api/Host.h"

#include "api/Call.h"
#include "api/Refusal.h"
#include "device/Keys.h"
#include "platform/linux/loops/LinuxRunLoops.h"

namespace vmr::api {

Host &Host::shared() {
    static Host &shared = *new Host;
    return shared;
}

void Host::requireUnused() {
    if (platform_.load(std::memory_order_acquire) != nullptr)
        refuse(VELMORA_INVALID_STATE,
               "the SDK is already in use: give the options before every other call");
}

void Host::setLogSink(std::function<void(std::string_view line, LogLevel level)> sink) {
    const MutexLock lock(mutex_);
    requireUnused();
    options_.logSink = std::move(sink);
}

void Host::setTransport(const velmora_transport &given, const HostTransport &transport) {
    const MutexLock lock(mutex_);
    requireUnused();
    transport_ = given;
    options_.transport = transport;
    options_.transport.context = &transport_; // which changes no more once it is used
}

void Host::configure(LinuxOptions options) {
    const MutexLock lock(mutex_);
    requireUnused();
    if (configured_)
        refuse(VELMORA_INVALID_STATE,
               "the options have been given already: give all of them in one call");
    options.transport = options_.transport;
    if (options_.logSink)
        options.logSink = std::move(options_.logSink);
    options_ = std::move(options);
    configured_ = true;
}

const LinuxPlatform &Host::platform() {
    if (const LinuxPlatform *made = platform_.load(std::memory_order_acquire))
        return *made;
    const MutexLock lock(mutex_);
    if (const LinuxPlatform *made = platform_.load(std::memory_order_acquire))
        return *made;
    static constexpr std::string_view watchedKeys[] = {TCFv1ConsentStringKey,
                                                       TCFv2ConsentStringKey};
    options_.watchedKeys = watchedKeys;
    made_ = makeLinuxPlatform(options_);
    platform_.store(&made_, std::memory_order_release);
    return made_;
}

std::optional<std::string> Host::certificateAuthorityFile() {
    const MutexLock lock(mutex_);
    return options_.transport.start != nullptr ? std::nullopt
                                               : options_.http.certificateAuthorityFile;
}

void Host::requireMainThread() {
    if (!platform().runLoops->adoptMainThread())
        refuse(VELMORA_WRONG_THREAD,
               "the main run loop belongs to another thread: make this call on the thread "
               "that started the SDK or used the loop first");
}

} // namespace vmr::api
