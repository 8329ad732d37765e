#include "platform/linux/http/CurlHTTPSession.h"

#include "platform/Format.h"
#include "platform/GuardedCall.h"
#include "platform/Semaphore.h"
#include "platform/linux/ForkedChild.h"
#include "platform/linux/http/BuiltInTransport.h"
#include "platform/linux/http/CurlLibrary.h"
#include "platform/linux/http/URLErrors.h"

#include <algorithm>
#include <utility>

namespace vmr {

CurlHTTPSession::CurlHTTPSession(const CurlOptions &options, const std::shared_ptr<SystemLog> &log,
                                 const std::shared_ptr<Activity> &activity)
    : options_(options), queue_(std::make_shared<ThreadSerialQueue>("vmr-http", log, activity)),
      account_(log) {}

CurlHTTPSession::~CurlHTTPSession() {
    if (isForkedChild()) { // the thread is the parent's
        static_cast<void>(multi_.release());
        return;
    }
    stopping_ = true;
    CurlLibrary::shared().interruptWaits();
    Semaphore ended(0);
    if (queue_->close([&] {
            const CurlLibrary::Use use;
            multi_.reset();
            ended.signal();
        }))
        ended.wait();
}

void CurlHTTPSession::send(HTTPRequest request, Completion completion) {
    if (isForkedChild())
        return;
    const auto exchange =
        std::make_shared<CurlExchange>(std::move(request), std::move(completion), options_);
    CurlLibrary::shared().prepare();
    if (!queue_->tryAsync([this, held = exchange]() mutable { run(std::move(held)); }))
        account_.complete(
            exchange->takeCompletion(),
            failedOutcome(URLErrorCode::unknown,
                          "the system gives no thread for the exchange; nothing was sent"));
}

void CurlHTTPSession::run(std::shared_ptr<CurlExchange> exchange) {
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
    Completion completion = exchange->takeCompletion();
    {
        const CurlLibrary::Use use;
        exchange->close();
    }
    account_.complete(std::move(completion), outcome);
}

std::optional<PlatformError> CurlHTTPSession::prepare(CurlExchange &exchange) {
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

bool CurlHTTPSession::advance(CurlExchange &exchange, HTTPOutcome &outcome) {
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

bool CurlHTTPSession::hasEnded(CurlExchange &exchange, HTTPOutcome &outcome) {
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
    if (!stopping_ &&
        std::chrono::steady_clock::now() - exchange.lastProgress() < options_.idleTimeout)
        return false;
    outcome.error = stopping_ ? makeURLError(URLErrorCode::cancelled, "the session has ended")
                              : makeURLError(URLErrorCode::timedOut,
                                             formatText("nothing moved for %ld milliseconds",
                                                        options_.idleTimeout.count()));
    return true;
}

std::shared_ptr<HTTPSession> makeBuiltInSession(const CurlOptions &options,
                                                const std::shared_ptr<SystemLog> &log,
                                                const std::shared_ptr<Activity> &activity) {
    return std::make_shared<CurlHTTPSession>(options, log, activity);
}

} // namespace vmr
