#include "platform/linux/http/CurlWorker.h"

#include "platform/GuardedCall.h"
#include "platform/linux/AllSignalsBlocked.h"
#include "platform/linux/http/CurlLibrary.h"
#include "platform/linux/http/URLErrors.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace vmr {
namespace {

// What is under way at once; more would only open more connections to the one service. The rest
// waits here, where its idle time does not run yet.
constexpr std::size_t mostRunning = 6;

} // namespace

CurlWorker::CurlWorker(CurlOptions options, std::shared_ptr<SystemLog> log,
                       std::shared_ptr<Activity> activity)
    : options_(std::move(options)), log_(std::move(log)), activity_(std::move(activity)),
      owner_(::getpid()) {}

void CurlWorker::submit(std::unique_ptr<CurlExchange> exchange) {
    if (::getpid() != owner_)
        return;
    activity_->begin();
    PlatformError refusal;
    {
        const MutexLock lock(mutex_);
        if (stopping_) {
            refusal = makeURLError(URLErrorCode::cancelled, "the session has ended");
        } else if (!thread_.joinable() && !startThread()) {
            refusal = makeURLError(URLErrorCode::unknown,
                                   "the system gives no thread for the exchange; nothing was sent");
        } else {
            waiting_.push_back(std::move(exchange));
            workArrived_.notify_one();
            if (polled_ != nullptr)
                ::curl_multi_wakeup(polled_);
            return;
        }
    }
    complete({exchange->takeCompletion(), {std::move(refusal), std::nullopt, {}}});
}

bool CurlWorker::startThread() {
    CurlLibrary::shared().prepare();
    try {
        const AllSignalsBlocked blocked;
        thread_ = std::thread([self = shared_from_this()] { self->run(); });
        return true;
    } catch (const std::system_error &) {
        return false;
    }
}

void CurlWorker::shutDown() {
    if (::getpid() != owner_)
        return;
    std::thread thread;
    {
        const MutexLock lock(mutex_);
        stopping_ = true;
        workArrived_.notify_one();
        if (polled_ != nullptr)
            ::curl_multi_wakeup(polled_);
        thread = std::move(thread_);
    }
    if (!thread.joinable())
        return;
    if (thread.get_id() == std::this_thread::get_id() || CurlLibrary::shared().isEnding())
        thread.detach();
    else
        thread.join();
}

void CurlWorker::run() {
    ::pthread_setname_np(::pthread_self(), "vmr-http");
    bool goesOn = true;
    while (goesOn) {
        bool threw = true;
        callGuarded(*log_, "The HTTP thread", [this, &goesOn, &threw] {
            goesOn = takeTurn();
            threw = false;
        });
        if (threw) // for want of memory, which does not come back at once
            std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}

bool CurlWorker::takeTurn() {
    Exchanges taken;
    const bool goesOn = takeWaiting(taken);
    for (Finished &finished : goesOn ? advance(std::move(taken)) : cancelEverything())
        complete(std::move(finished));
    return goesOn;
}

bool CurlWorker::takeWaiting(Exchanges &taken) {
    const MutexLock lock(mutex_);
    while (!stopping_ && waiting_.empty() && running_.empty())
        workArrived_.wait(mutex_);
    if (stopping_)
        return false;
    while (!waiting_.empty() && running_.size() + taken.size() < mostRunning) {
        taken.push_back(std::move(waiting_.front()));
        waiting_.pop_front();
    }
    return true;
}

std::vector<CurlWorker::Finished> CurlWorker::advance(Exchanges taken) {
    const CurlLibrary::Use use;
    std::vector<Finished> finished;
    for (std::unique_ptr<CurlExchange> &exchange : taken)
        begin(std::move(exchange), finished);
    if (running_.empty())
        return finished;

    int stillRunning = 0;
    CURLMcode code = ::curl_multi_perform(multi_.get(), &stillRunning);
    collectDone(finished);
    collectIdle(finished);
    if (code == CURLM_OK && finished.empty())
        code = ::curl_multi_poll(multi_.get(), nullptr, 0, millisecondsToNextDeadline(), nullptr);
    if (code != CURLM_OK)
        abandonRunning(makeURLError(URLErrorCode::unknown, ::curl_multi_strerror(code)), finished);
    return finished;
}

void CurlWorker::begin(std::unique_ptr<CurlExchange> exchange, std::vector<Finished> &finished) {
    std::optional<PlatformError> refusal = openMulti();
    if (!refusal)
        refusal = exchange->prepare(options_);
    if (!refusal) {
        const CURLMcode code = ::curl_multi_add_handle(multi_.get(), exchange->handle());
        if (code == CURLM_OK) {
            running_.push_back(std::move(exchange));
            return;
        }
        refusal = makeURLError(URLErrorCode::unknown, ::curl_multi_strerror(code));
    }
    finished.push_back({exchange->takeCompletion(), {std::move(refusal), std::nullopt, {}}});
}

std::optional<PlatformError> CurlWorker::openMulti() {
    if (multi_)
        return std::nullopt;
    if (!CurlLibrary::shared().start())
        return noteTrouble(makeURLError(URLErrorCode::unknown, "libcurl cannot be initialised"));
    multi_ = openCurlMulti();
    if (!multi_)
        return noteTrouble(
            makeURLError(URLErrorCode::unknown,
                         "libcurl cannot be opened: the process is out of memory or of file "
                         "descriptors (raise the limit of open files)"));
    const MutexLock lock(mutex_);
    polled_ = multi_.get();
    return std::nullopt;
}

void CurlWorker::collectDone(std::vector<Finished> &finished) {
    int left = 0;
    while (const CURLMsg *message = ::curl_multi_info_read(multi_.get(), &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const CURLcode code = message->data.result;
        CurlExchange *done = nullptr;
        ::curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &done);
        const std::unique_ptr<CurlExchange> exchange = takeRunning(done);
        HTTPOutcome outcome = exchange->outcomeOf(code);
        if (code == CURLE_SSL_CACERT_BADFILE && outcome.error)
            noteTrouble(*outcome.error);
        else if (!outcome.error)
            toldTrouble_.clear();
        finished.push_back({exchange->takeCompletion(), std::move(outcome)});
    }
}

PlatformError CurlWorker::noteTrouble(PlatformError error) {
    std::string detail = valueForKey(error.userInfo, "NSDebugDescription").description();
    if (detail != toldTrouble_) {
        log_->write("VelmoraKit: requests cannot be sent: " + detail);
        toldTrouble_ = std::move(detail);
    }
    return error;
}

void CurlWorker::collectIdle(std::vector<Finished> &finished) {
    const auto now = std::chrono::steady_clock::now();
    std::vector<const CurlExchange *> idle;
    for (const std::unique_ptr<CurlExchange> &exchange : running_) {
        if (now - exchange->lastProgress() >= options_.idleTimeout)
            idle.push_back(exchange.get());
    }
    for (const CurlExchange *late : idle) {
        const std::unique_ptr<CurlExchange> exchange = takeRunning(late);
        finished.push_back(
            {exchange->takeCompletion(),
             {makeURLError(URLErrorCode::timedOut,
                           "nothing moved for " + std::to_string(options_.idleTimeout.count()) +
                               " milliseconds"),
              std::nullopt,
              {}}});
    }
}

void CurlWorker::abandonRunning(const PlatformError &error, std::vector<Finished> &finished) {
    while (!running_.empty()) {
        const std::unique_ptr<CurlExchange> exchange = takeRunning(running_.back().get());
        finished.push_back({exchange->takeCompletion(), {error, std::nullopt, {}}});
    }
}

std::vector<CurlWorker::Finished> CurlWorker::cancelEverything() {
    const CurlLibrary::Use use;
    const PlatformError error = makeURLError(URLErrorCode::cancelled, "the session has ended");
    std::vector<Finished> finished;
    abandonRunning(error, finished);
    {
        const MutexLock lock(mutex_);
        polled_ = nullptr;
        for (const std::unique_ptr<CurlExchange> &exchange : waiting_)
            finished.push_back({exchange->takeCompletion(), {error, std::nullopt, {}}});
        waiting_.clear();
    }
    multi_.reset();
    return finished;
}

std::unique_ptr<CurlExchange> CurlWorker::takeRunning(const CurlExchange *exchange) {
    const auto place = std::find_if(
        running_.begin(), running_.end(),
        [exchange](const std::unique_ptr<CurlExchange> &each) { return each.get() == exchange; });
    std::unique_ptr<CurlExchange> taken = std::move(*place);
    running_.erase(place);
    ::curl_multi_remove_handle(multi_.get(), taken->handle());
    return taken;
}

int CurlWorker::millisecondsToNextDeadline() const {
    auto earliest = CurlExchange::Instant::max();
    for (const std::unique_ptr<CurlExchange> &exchange : running_)
        earliest = std::min(earliest, exchange->lastProgress() + options_.idleTimeout);
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(earliest - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3'600'000));
}

void CurlWorker::complete(Finished finished) noexcept {
    callGuarded(*log_, "The completion of an HTTP exchange", [&finished] {
        // What the completion holds goes before the exchange counts as done.
        const HTTPSession::Completion completion = std::move(finished.completion);
        if (completion)
            completion(finished.outcome);
    });
    activity_->end();
}

} // namespace vmr
