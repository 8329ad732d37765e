#include "platform/linux/http/CurlWorker.h"

#include "platform/Format.h"
#include "platform/GuardedCall.h"
#include "platform/linux/AllSignalsBlocked.h"
#include "platform/linux/ForkedChild.h"
#include "platform/linux/http/CurlLibrary.h"
#include "platform/linux/http/URLErrors.h"

#include <pthread.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace vmr {

CurlWorker::CurlWorker(const CurlOptions &options, const std::shared_ptr<SystemLog> &log,
                       const std::shared_ptr<Activity> &activity)
    : options_(options), account_(log, activity) {}

void CurlWorker::submit(HTTPRequest &&request, HTTPSession::Completion &&completion) {
    if (isForkedChild())
        return;
    std::list<std::unique_ptr<CurlExchange>> arrived;
    arrived.push_back( // the last that may throw before it counts as begun
        std::make_unique<CurlExchange>(std::move(request), std::move(completion), options_));
    account_.begin();
    {
        const MutexLock lock(mutex_);
        if (!stopping_ && (thread_.joinable() || startThread())) {
            waiting_.splice(waiting_.end(), arrived);
            workArrived_.notify_one();
            return;
        }
    }
    account_.end(arrived.front()->takeCompletion(),
                 failedOutcome(URLErrorCode::unknown,
                               "the system gives no thread for the exchange; nothing was sent"));
}

bool CurlWorker::startThread() {
    CurlLibrary::shared().prepare();
    try {
        const AllSignalsBlocked blocked;
        thread_ = std::thread([self = shared_from_this()] { self->run(); });
        return true;
    } catch (const std::exception &) {
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
        thread = std::move(thread_);
    }
    CurlLibrary::shared().interruptWaits();
    if (!thread.joinable())
        return;
    if (thread.get_id() == std::this_thread::get_id() || CurlLibrary::shared().isEnding())
        thread.detach();
    else
        thread.join();
}

void CurlWorker::run() {
    ::pthread_setname_np(::pthread_self(), "vmr-http");
    while (std::unique_ptr<CurlExchange> exchange = next()) {
        HTTPOutcome outcome;
        // What stays when there is no memory to say more.
        outcome.error = PlatformError{NSURLErrorDomain, -1, {}};
        callGuarded(account_.log(), "An HTTP exchange", [&] {
            if (std::optional<PlatformError> refusal = prepare(*exchange)) {
                account_.noteTrouble(*refusal);
                outcome.error = std::move(refusal);
                return;
            }
            while (!advance(*exchange, outcome)) {
            }
        });
        outcome.bodyBytes = exchange->bodySize();
        HTTPSession::Completion completion = exchange->takeCompletion();
        {
            const CurlLibrary::Use use;
            exchange.reset();
        }
        account_.end(std::move(completion), outcome);
    }
    const CurlLibrary::Use use;
    multi_.reset();
}

std::unique_ptr<CurlExchange> CurlWorker::next() {
    const MutexLock lock(mutex_);
    while (!stopping_ && waiting_.empty())
        workArrived_.wait(mutex_);
    if (waiting_.empty())
        return nullptr;
    std::unique_ptr<CurlExchange> exchange = std::move(waiting_.front());
    waiting_.pop_front();
    return exchange;
}

bool CurlWorker::isStopping() const {
    const MutexLock lock(mutex_);
    return stopping_;
}

std::optional<PlatformError> CurlWorker::prepare(CurlExchange &exchange) {
    if (!exchange.makeBody())
        return makeURLError(URLErrorCode::unknown, "out of memory; nothing was sent");
    const CurlLibrary::Use use;
    if (!CurlLibrary::shared().start())
        return makeURLError(URLErrorCode::unknown, "libcurl cannot be initialised");
    if (!multi_)
        multi_ = openCurlMulti();
    if (!multi_)
        return makeURLError(URLErrorCode::unknown,
                            "libcurl cannot be opened: the process is out of memory or of file "
                            "descriptors (raise the limit of open files)");
    return exchange.prepare(options_, multi_.get());
}

bool CurlWorker::advance(CurlExchange &exchange, HTTPOutcome &outcome) {
    // Left and entered again at each wake-up, so that the end of the process need not wait.
    const CurlLibrary::Use use;
    int running = 0;
    CURLMcode code = ::curl_multi_perform(multi_.get(), &running);
    if (code == CURLM_OK) {
        if (hasEnded(exchange, outcome))
            return true;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            exchange.lastProgress() + options_.idleTimeout - std::chrono::steady_clock::now());
        const int wait = std::max(0, static_cast<int>(left.count()));
        code = ::curl_multi_poll(multi_.get(), nullptr, 0, wait, nullptr);
    }
    if (code != CURLM_OK)
        outcome.error = makeURLError(URLErrorCode::unknown, ::curl_multi_strerror(code));
    return code != CURLM_OK;
}

bool CurlWorker::hasEnded(CurlExchange &exchange, HTTPOutcome &outcome) {
    int left = 0;
    if (const CURLMsg *message = ::curl_multi_info_read(multi_.get(), &left)) {
        const CURLcode code = message->data.result;
        outcome = exchange.outcomeOf(code);
        if (!outcome.error)
            account_.clearTrouble();
        else if (code == CURLE_SSL_CACERT_BADFILE || code == CURLE_SSL_PINNEDPUBKEYNOTMATCH ||
                 code == CURLE_PEER_FAILED_VERIFICATION)
            account_.noteTrouble(*outcome.error);
        return true;
    }
    const bool stops = isStopping();
    if (!stops && std::chrono::steady_clock::now() - exchange.lastProgress() < options_.idleTimeout)
        return false;
    outcome.error = stops ? makeURLError(URLErrorCode::cancelled, "the session has ended")
                          : makeURLError(URLErrorCode::timedOut,
                                         formatText("nothing moved for %ld milliseconds",
                                                    options_.idleTimeout.count()));
    return true;
}

} // namespace vmr
