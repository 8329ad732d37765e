#include "platform/linux/http/CurlHTTPSession.h"

#include "platform/Format.h"
#include "platform/GuardedCall.h"
#include "platform/linux/ForkedChild.h"
#include "platform/linux/http/BuiltInTransport.h"
#include "platform/linux/http/CurlLibrary.h"
#include "platform/linux/http/CurlMulti.h"
#include "platform/linux/http/URLErrors.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace vmr {

CurlHTTPSession::CurlHTTPSession(const CurlOptions &options, SystemLog &log, Activity &activity)
    : options_(options), queue_(std::make_shared<ThreadSerialQueue>("vmr-http", log, activity)),
      account_(log) {}

void CurlHTTPSession::send(HTTPRequest request, Completion completion) {
    if (isForkedChild())
        return;
    const auto exchange =
        std::make_shared<CurlExchange>(std::move(request), std::move(completion), options_);
    CurlLibrary::shared().prepare();
    if (queue_->tryAsync([this, exchange] { run(*exchange); }))
        return;
    fail(exchange->outcome(), URLErrorCode::unknown,
         "the system gives no thread for the exchange; nothing was sent");
    account_.complete(exchange->takeCompletion(), exchange->outcome());
}

void CurlHTTPSession::run(CurlExchange &exchange) {
    bool isOver = false;
    callGuarded(account_.log(), "An HTTP exchange", [&] {
        if (!prepare(exchange))
            account_.noteTrouble(*exchange.outcome().error);
        else
            while (advance(exchange)) {
            }
        isOver = true;
    });
    if (!isOver && !exchange.outcome().error)
        fail(exchange.outcome(), URLErrorCode::unknown, "");
    exchange.outcome().bodyBytes = exchange.bodySize();
    {
        const CurlLibrary::Use use;
        exchange.close();
    }
    account_.complete(exchange.takeCompletion(), exchange.outcome());
}

bool CurlHTTPSession::prepare(CurlExchange &exchange) {
    const auto failed = [&exchange](std::string_view why) {
        return fail(exchange.outcome(), URLErrorCode::unknown, why);
    };
    if (!exchange.makeBody())
        return failed("out of memory; nothing was sent");
    const CurlLibrary::Use use;
    if (!CurlLibrary::shared().start())
        return failed("libcurl cannot be initialised");
    if (multi_ == nullptr) {
        CURLM *opened = openCurlMulti();
        if (opened == nullptr)
            return failed("libcurl cannot be opened: the process is out of memory or of file "
                          "descriptors (raise the limit of open files)");
        CurlLibrary::shared().add(opened);
        multi_ = opened;
    }
    return exchange.prepare(options_, multi_);
}

bool CurlHTTPSession::advance(CurlExchange &exchange) {
    // Left and entered again at each wake-up, so that the end of the process need not wait.
    const CurlLibrary::Use use;
    int running = 0;
    CURLMcode code = ::curl_multi_perform(multi_, &running);
    if (code == CURLM_OK) {
        if (hasEnded(exchange))
            return false;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            exchange.lastProgress() + options_.idleTimeout - std::chrono::steady_clock::now());
        const int wait = std::max(0, static_cast<int>(left.count()));
        code = ::curl_multi_poll(multi_, nullptr, 0, wait, nullptr);
    }
    return code == CURLM_OK ||
           fail(exchange.outcome(), URLErrorCode::unknown, ::curl_multi_strerror(code));
}

bool CurlHTTPSession::hasEnded(CurlExchange &exchange) {
    int left = 0;
    if (const CURLMsg *message = ::curl_multi_info_read(multi_, &left)) {
        const CURLcode code = message->data.result;
        if (exchange.conclude(code))
            account_.clearTrouble();
        else if (code == CURLE_SSL_CACERT_BADFILE || code == CURLE_SSL_PINNEDPUBKEYNOTMATCH ||
                 code == CURLE_PEER_FAILED_VERIFICATION)
            account_.noteTrouble(*exchange.outcome().error);
        return true;
    }
    if (std::chrono::steady_clock::now() - exchange.lastProgress() < options_.idleTimeout)
        return false;
    fail(exchange.outcome(), URLErrorCode::timedOut,
         formatText("nothing moved for %ld milliseconds", options_.idleTimeout.count()));
    return true;
}

HTTPSession *makeBuiltInSession(const CurlOptions &options, SystemLog &log, Activity &activity) {
    return new CurlHTTPSession(options, log, activity);
}

} // namespace vmr
