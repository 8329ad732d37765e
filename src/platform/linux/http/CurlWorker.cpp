#include "platform/linux/http/CurlWorker.h"

#include "platform/GuardedCall.h"
#include "platform/linux/AllSignalsBlocked.h"
#include "platform/linux/ForkedChild.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/http/CurlLibrary.h"
#include "platform/linux/http/URLErrors.h"

#include <pthread.h>

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
    : options_(std::move(options)), log_(std::move(log)), activity_(std::move(activity)) {}

void CurlWorker::submit(std::unique_ptr<CurlExchange> exchange) {
    if (isForkedChild())
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
    if (isForkedChild())
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
    completeFinished();
    const bool goesOn = takeWaiting();
    if (goesOn)
        advance();
    else
        cancelEverything();
    completeFinished();
    return goesOn;
}

bool CurlWorker::takeWaiting() {
    const MutexLock lock(mutex_);
    while (!stopping_ && waiting_.empty() && starting_.empty() && running_.empty())
        workArrived_.wait(mutex_);
    if (stopping_)
        return false;
    while (!waiting_.empty() && running_.size() + starting_.size() < mostRunning)
        starting_.splice(starting_.end(), waiting_, waiting_.begin());
    return true;
}

void CurlWorker::advance() {
    const CurlLibrary::Use use;
    while (!starting_.empty())
        begin();
    if (running_.empty())
        return;

    int stillRunning = 0;
    CURLMcode code = ::curl_multi_perform(multi_.get(), &stillRunning);
    collectDone();
    collectIdle();
    if (code == CURLM_OK && finished_.empty())
        code = ::curl_multi_poll(multi_.get(), nullptr, 0, millisecondsToNextDeadline(), nullptr);
    if (code != CURLM_OK)
        abandonRunning(makeURLError(URLErrorCode::unknown, ::curl_multi_strerror(code)));
}

void CurlWorker::begin() {
    CurlExchange &exchange = *starting_.front();
    std::optional<PlatformError> refusal = openMulti();
    if (!refusal)
        refusal = exchange.prepare(options_);
    if (!refusal) {
        const CURLMcode code = ::curl_multi_add_handle(multi_.get(), exchange.handle());
        if (code == CURLM_OK) {
            running_.splice(running_.end(), starting_, starting_.begin());
            return;
        }
        refusal = makeURLError(URLErrorCode::unknown, ::curl_multi_strerror(code));
    }
    finish(exchange, {noteTrouble(*std::move(refusal)), std::nullopt, {}});
    starting_.pop_front();
}

std::optional<PlatformError> CurlWorker::openMulti() {
    if (multi_)
        return std::nullopt;
    if (!CurlLibrary::shared().start())
        return makeURLError(URLErrorCode::unknown, "libcurl cannot be initialised");
    multi_ = openCurlMulti();
    if (!multi_)
        return makeURLError(URLErrorCode::unknown,
                            "libcurl cannot be opened: the process is out of memory or of file "
                            "descriptors (raise the limit of open files)");
    const MutexLock lock(mutex_);
    polled_ = multi_.get();
    return std::nullopt;
}

void CurlWorker::collectDone() {
    int left = 0;
    while (const CURLMsg *message = ::curl_multi_info_read(multi_.get(), &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const CURLcode code = message->data.result;
        CurlExchange *done = nullptr;
        ::curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &done);
        HTTPOutcome outcome = done->outcomeOf(code);
        if (outcome.error &&
            (code == CURLE_SSL_CACERT_BADFILE || code == CURLE_SSL_PINNEDPUBKEYNOTMATCH ||
             code == CURLE_PEER_FAILED_VERIFICATION))
            noteTrouble(*outcome.error);
        else if (!outcome.error)
            toldTrouble_.clear();
        finish(*done, std::move(outcome));
        dropRunning(*done);
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

void CurlWorker::collectIdle() {
    const auto now = std::chrono::steady_clock::now();
    for (auto next = running_.begin(); next != running_.end();) {
        CurlExchange &exchange = **next++;
        if (now - exchange.lastProgress() < options_.idleTimeout)
            continue;
        finish(exchange,
               {makeURLError(URLErrorCode::timedOut,
                             "nothing moved for " + std::to_string(options_.idleTimeout.count()) +
                                 " milliseconds"),
                std::nullopt,
                {}});
        dropRunning(exchange);
    }
}

void CurlWorker::abandonRunning(const PlatformError &error) {
    while (!running_.empty()) {
        finish(*running_.front(), {error, std::nullopt, {}});
        dropRunning(*running_.front());
    }
}

void CurlWorker::cancelEverything() {
    const CurlLibrary::Use use;
    const PlatformError error = makeURLError(URLErrorCode::cancelled, "the session has ended");
    abandonRunning(error);
    {
        const MutexLock lock(mutex_);
        polled_ = nullptr;
        starting_.splice(starting_.end(), waiting_);
    }
    multi_.reset();
    for (; !starting_.empty(); starting_.pop_front())
        finish(*starting_.front(), {error, std::nullopt, {}});
}

void CurlWorker::finish(CurlExchange &exchange, HTTPOutcome outcome) {
    finished_.emplace_back(); // before anything is taken, in case there is no memory for it
    finished_.back() = {exchange.takeCompletion(), std::move(outcome)};
}

void CurlWorker::dropRunning(const CurlExchange &exchange) noexcept {
    const auto place = std::find_if(
        running_.begin(), running_.end(),
        [&](const std::unique_ptr<CurlExchange> &each) { return each.get() == &exchange; });
    ::curl_multi_remove_handle(multi_.get(), (*place)->handle());
    running_.erase(place);
}

int CurlWorker::millisecondsToNextDeadline() const {
    auto earliest = CurlExchange::Instant::max();
    for (const std::unique_ptr<CurlExchange> &exchange : running_)
        earliest = std::min(earliest, exchange->lastProgress() + options_.idleTimeout);
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(earliest - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3'600'000));
}

void CurlWorker::note(const HTTPOutcome &outcome) {
    LastExchange last{SystemClock().now(), outcome.statusCode, std::nullopt};
    if (outcome.error)
        last.error = outcome.error->description();
    const MutexLock lock(mutex_);
    last_ = std::move(last);
}

std::optional<LastExchange> CurlWorker::lastExchange() const {
    const MutexLock lock(mutex_);
    return last_;
}

void CurlWorker::completeFinished() noexcept {
    for (; !finished_.empty(); finished_.pop_front())
        complete(std::move(finished_.front()));
}

void CurlWorker::complete(Finished finished) noexcept {
    // Apart, so that a failure to note it keeps nobody waiting for the completion.
    callGuarded(*log_, "The end of an HTTP exchange", [&] { note(finished.outcome); });
    callGuarded(*log_, "The completion of an HTTP exchange", [&finished] {
        // What the completion holds goes before the exchange counts as done.
        const HTTPSession::Completion completion = std::move(finished.completion);
        if (completion)
            completion(finished.outcome);
    });
    activity_->end();
}

} // namespace vmr
