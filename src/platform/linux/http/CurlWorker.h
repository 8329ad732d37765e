#pragma once

#include "platform/Mutex.h"
#include "platform/linux/http/CurlExchange.h"
#include "platform/linux/http/CurlMulti.h"
#include "platform/linux/http/ExchangeAccount.h"

#include <list>
#include <memory>
#include <thread>

namespace vmr {

/// The thread that carries the exchanges of a session, one after the other. It starts with the
/// first one, keeps the connection for the next ones, and sleeps without any wake-up while there is
/// none. Every exchange that is submitted gets its completion exactly once; a failure to start the
/// thread or the library is the outcome of the exchange that needs it, and the next one tries
/// again.
class CurlWorker : public std::enable_shared_from_this<CurlWorker> {
public:
    CurlWorker(const CurlOptions &options, const std::shared_ptr<SystemLog> &log,
               const std::shared_ptr<Activity> &activity);

    /// From any thread. The completion runs on the worker, or on the calling thread when there is
    /// none: it cannot be started.
    void submit(HTTPRequest &&request, HTTPSession::Completion &&completion) VMR_EXCLUDES(mutex_);
    /// Cancels what is under way and waits for the thread, unless it is the calling one or the
    /// process is ending.
    void shutDown() VMR_EXCLUDES(mutex_);

private:
    bool startThread() VMR_REQUIRES(mutex_);
    void run();
    /// Waits for an exchange. Null when the worker shall end and none is left.
    std::unique_ptr<CurlExchange> next() VMR_EXCLUDES(mutex_);
    bool isStopping() const VMR_EXCLUDES(mutex_);
    /// What forbids the exchange, if anything does.
    std::optional<PlatformError> prepare(CurlExchange &exchange);
    /// Moves the exchange on, and waits unless that was its end. Whether it was.
    bool advance(CurlExchange &exchange, HTTPOutcome &outcome);
    bool hasEnded(CurlExchange &exchange, HTTPOutcome &outcome);

    const CurlOptions options_;
    /// Its troubles are the worker thread's own.
    ExchangeAccount account_;

    mutable Mutex mutex_;
    ConditionVariable workArrived_;
    std::list<std::unique_ptr<CurlExchange>> waiting_ VMR_GUARDED_BY(mutex_);
    std::thread thread_ VMR_GUARDED_BY(mutex_);
    bool stopping_ VMR_GUARDED_BY(mutex_) = false;

    CurlMulti multi_; ///< the worker thread's own
};

} // namespace vmr
