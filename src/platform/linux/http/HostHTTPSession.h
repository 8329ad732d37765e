#pragma once

#include "platform/Mutex.h"
#include "platform/linux/http/ExchangeAccount.h"
#include "platform/linux/http/HostTransport.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>

namespace vmr {

class Activity;
class RunLoops;
class SerialQueue;

/// HTTP over the host's own transport. Bodies are made on a queue; requests start, are given up and
/// complete on the main run loop. An exchange has ended with the first of: an answer from any
/// thread, the time limit, a refusal; what comes later has no effect. Without a transport every
/// request fails with a line that says what to do. It must live for as long as the main run loop
/// and the queue have jobs of it.
class HostHTTPSession final : public HTTPSession {
public:
    HostHTTPSession(const HostTransport &transport, RunLoops &runLoops,
                    std::shared_ptr<SerialQueue> queue, SystemLog &log, Activity &activity,
                    std::size_t responseLimit);

    void send(HTTPRequest request, Completion completion) override;
    /// Ends the exchange; false when no such one is under way. A response that is too long becomes
    /// an error. Throws, without any effect, when there is no memory for it.
    bool answer(std::uint64_t id, HTTPOutcome &&outcome) VMR_EXCLUDES(mutex_);

private:
    struct Exchange;
    using Held = std::shared_ptr<Exchange>;

    /// On the main run loop.
    void proceed(void (HostHTTPSession::*step)(const Held &), const Held &exchange);
    void begin(const Held &exchange) VMR_EXCLUDES(mutex_);
    void makeReady(const Held &exchange);
    void start(const Held &exchange) VMR_EXCLUDES(mutex_);
    void giveUp(const Held &exchange);
    /// Whether the exchange was under way; it is not any more, and the caller ends it.
    bool take(const Held &exchange) VMR_EXCLUDES(mutex_);
    void end(const Held &exchange);

    const HostTransport transport_;
    RunLoops &runLoops_;
    const std::shared_ptr<SerialQueue> queue_;
    const std::size_t responseLimit_;
    Activity &activity_;

    Mutex mutex_;
    std::uint64_t lastId_ VMR_GUARDED_BY(mutex_) = 0;
    std::list<Held> underWay_ VMR_GUARDED_BY(mutex_);

    ExchangeAccount account_; ///< the main run loop's thread's own
};

} // namespace vmr
