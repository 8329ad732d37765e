#pragma once

#include "platform/Activity.h"
#include "platform/Mutex.h"
#include "platform/PlatformError.h"
#include "platform/SystemLog.h"
#include "platform/linux/http/CurlExchange.h"
#include "platform/linux/http/CurlMulti.h"
#include "platform/linux/http/LastExchange.h"

#include <list>
#include <memory>
#include <thread>

namespace vmr {

/// The thread that carries all exchanges of a session. It starts with the first one, keeps the
/// connections for the next ones, and sleeps without any wake-up while there is none. Every
/// exchange that is submitted gets its completion exactly once; a failure to start the thread or
/// the library is the outcome of the exchanges that need it, and the next one tries again.
class CurlWorker : public std::enable_shared_from_this<CurlWorker> {
public:
    CurlWorker(CurlOptions options, std::shared_ptr<SystemLog> log,
               std::shared_ptr<Activity> activity);

    const CurlOptions &options() const { return options_; }

    /// From any thread. The completion runs on the worker, or on the calling thread in the two
    /// cases where there is no worker: it cannot be started, or it was shut down.
    void submit(std::unique_ptr<CurlExchange> exchange) VMR_EXCLUDES(mutex_);
    /// Cancels what is under way and waits for the thread, unless it is the calling one or the
    /// process is ending.
    void shutDown() VMR_EXCLUDES(mutex_);
    std::optional<LastExchange> lastExchange() const VMR_EXCLUDES(mutex_);

private:
    using Exchanges = std::list<std::unique_ptr<CurlExchange>>;
    /// An exchange that has left libcurl.
    struct Finished {
        HTTPSession::Completion completion;
        HTTPOutcome outcome;
    };

    bool startThread() VMR_REQUIRES(mutex_);
    void run();
    /// Does what there is to do, or waits for it. False once everything is cancelled.
    bool takeTurn();
    /// Waits for something to do. False when the worker shall end.
    bool takeWaiting() VMR_EXCLUDES(mutex_);
    /// Starts what was taken, moves everything on, and waits when nothing has finished.
    void advance();
    /// Moves the first of `starting_` to where it belongs.
    void begin();
    std::optional<PlatformError> openMulti() VMR_EXCLUDES(mutex_);
    void collectDone();
    void collectIdle();
    /// Says what only the host can mend, once until a request has succeeded, and hands it back.
    PlatformError noteTrouble(PlatformError error);
    void abandonRunning(const PlatformError &error);
    void cancelEverything() VMR_EXCLUDES(mutex_);
    void finish(CurlExchange &exchange, HTTPOutcome outcome);
    void dropRunning(const CurlExchange &exchange) noexcept;
    void note(const HTTPOutcome &outcome) VMR_EXCLUDES(mutex_);
    void completeFinished() noexcept;
    int millisecondsToNextDeadline() const;
    void complete(Finished finished) noexcept VMR_EXCLUDES(mutex_);

    const CurlOptions options_;
    const std::shared_ptr<SystemLog> log_;
    const std::shared_ptr<Activity> activity_;

    mutable Mutex mutex_;
    ConditionVariable workArrived_;
    Exchanges waiting_ VMR_GUARDED_BY(mutex_);
    std::thread thread_ VMR_GUARDED_BY(mutex_);
    bool stopping_ VMR_GUARDED_BY(mutex_) = false;
    /// What a wake-up must reach; absent while the library is not open.
    CURLM *polled_ VMR_GUARDED_BY(mutex_) = nullptr;
    std::optional<LastExchange> last_ VMR_GUARDED_BY(mutex_);

    // The worker thread's own.
    CurlMulti multi_;
    // What a turn that threw has not come to stands here for the next one.
    Exchanges starting_;
    Exchanges running_;
    std::list<Finished> finished_;
    std::string toldTrouble_;
};

} // namespace vmr
