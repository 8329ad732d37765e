#include "platform/linux/http/CurlExchange.h"

#include "platform/linux/http/CurlErrors.h"
#include "platform/linux/http/URLErrors.h"

#include <sys/socket.h>

namespace vmr {
namespace {

/// CURLE_TOO_LARGE, which libcurl has since 8.6; before, it said that memory was short.
constexpr auto tooLarge = static_cast<CURLcode>(100);

} // namespace

CurlExchange::CurlExchange(HTTPRequest &&request, HTTPSession::Completion &&completion,
                           const CurlOptions &options)
    : completion_(std::move(completion)), request_(std::move(request)),
      response_(options.responseLimit) {}

std::optional<PlatformError> CurlExchange::prepare(const CurlOptions &options, CURLM *multi) {
    noteProgress();
    easy_ = std::unique_ptr<CURL, CleanUpEasy>(::curl_easy_init(), CleanUpEasy{multi});
    if (!easy_)
        return makeURLError(URLErrorCode::unknown,
                            "libcurl cannot start a request; memory may be exhausted");
    if (std::optional<PlatformError> refusal = request_.apply(easy_.get(), options))
        return refusal;
    response_.attach(easy_.get());
    ::curl_easy_setopt(easy_.get(), CURLOPT_ERRORBUFFER, message_.data());
    ::curl_easy_setopt(easy_.get(), CURLOPT_OPENSOCKETFUNCTION, &CurlExchange::openSocket);
    ::curl_easy_setopt(easy_.get(), CURLOPT_OPENSOCKETDATA, this);
    ::curl_easy_setopt(easy_.get(), CURLOPT_NOPROGRESS, 0L);
    ::curl_easy_setopt(easy_.get(), CURLOPT_XFERINFOFUNCTION, &CurlExchange::onProgress);
    ::curl_easy_setopt(easy_.get(), CURLOPT_XFERINFODATA, this);
    ::curl_easy_setopt(easy_.get(), CURLOPT_PREREQFUNCTION, &CurlExchange::onSending);
    ::curl_easy_setopt(easy_.get(), CURLOPT_PREREQDATA, this);
    const CURLMcode code = ::curl_multi_add_handle(multi, easy_.get());
    if (code != CURLM_OK)
        return makeURLError(URLErrorCode::unknown, ::curl_multi_strerror(code));
    return std::nullopt;
}

int CurlExchange::onProgress(void *self, curl_off_t, curl_off_t down, curl_off_t, curl_off_t up) {
    auto &exchange = *static_cast<CurlExchange *>(self);
    const curl_off_t moved = down + up + static_cast<curl_off_t>(exchange.response_.received());
    if (moved != exchange.moved_) {
        exchange.moved_ = moved;
        exchange.noteProgress();
    }
    return 0;
}

/// Called once more after `onSending` when libcurl wants to send the request again, because a
/// connection that was kept has brought nothing: the service may have taken it all the same.
curl_socket_t CurlExchange::openSocket(void *self, curlsocktype, curl_sockaddr *address) {
    auto &exchange = *static_cast<CurlExchange *>(self);
    exchange.wasLost_ = exchange.wasSent_;
    if (exchange.wasLost_)
        return CURL_SOCKET_BAD;
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

/// The same where another connection is open already.
int CurlExchange::onSending(void *self, char *, char *, int, int) {
    auto &exchange = *static_cast<CurlExchange *>(self);
    exchange.noteProgress();
    exchange.wasLost_ = exchange.wasSent_;
    exchange.wasSent_ = true;
    return exchange.wasLost_ ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
}

std::optional<PlatformError> CurlExchange::errorOf(CURLcode code, bool hasStatus) {
    if (code == CURLE_OK)
        response_.finish();
    if (response_.failure())
        return response_.failure();
    if (wasLost_)
        return makeURLError(URLErrorCode::networkConnectionLost,
                            "the service closed the kept connection without an answer");
    // So libcurl calls a line that is longer than it takes.
    if ((code == CURLE_OUT_OF_MEMORY || code == tooLarge) && wasSent_ && !response_.hasWholeHead())
        return makeURLError(URLErrorCode::dataLengthExceedsMaximum,
                            code == tooLarge ? "a header of the response is too long"
                                             : "a header of the response is too long, or there is "
                                               "not enough memory for it");
    // The request's scheme was checked before, so it is the answer that is of another protocol.
    if (code != CURLE_OK && code != CURLE_UNSUPPORTED_PROTOCOL) {
        CurlFailure failure{code, message_.data(), 0, 0, request_.host()};
        if (failure.message.empty())
            failure.message = ::curl_easy_strerror(code);
        ::curl_easy_getinfo(easy_.get(), CURLINFO_SSL_VERIFYRESULT, &failure.certificateVerdict);
        ::curl_easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &failure.osError);
        return makeURLError(failure);
    }
    // libcurl takes a response that breaks off within its headers for one without a body.
    if (hasStatus && !response_.hasWholeHead())
        return makeURLError(URLErrorCode::networkConnectionLost,
                            "the response ended within its headers");
    return std::nullopt;
}

HTTPOutcome CurlExchange::outcomeOf(CURLcode code) {
    long status = 0;
    if (code == CURLE_OK)
        ::curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    HTTPOutcome outcome;
    outcome.error = errorOf(code, status > 0);
    if (!outcome.error && status > 0)
        outcome.statusCode = status;
    if (!outcome.error && code == CURLE_OK)
        outcome.body = Data(response_.takeBody());
    return outcome;
}

} // namespace vmr
