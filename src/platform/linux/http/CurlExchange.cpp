#include "platform/linux/http/CurlExchange.h"

#include "platform/linux/http/URLErrors.h"

#include <sys/socket.h>

namespace vmr {
namespace {

/// CURLE_TOO_LARGE, which libcurl has since 8.6; before, it said that memory was short.
constexpr auto tooLarge = static_cast<CURLcode>(100);

curl_socket_t openSocket(void *, curlsocktype, curl_sockaddr *address) {
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

} // namespace

CurlExchange::CurlExchange(HTTPRequest request, HTTPSession::Completion completion,
                           const CurlOptions &options)
    : completion_(std::move(completion)), request_(std::move(request)),
      response_(options.responseLimit) {}

std::optional<PlatformError> CurlExchange::prepare(const CurlOptions &options) {
    noteProgress();
    easy_.reset(::curl_easy_init());
    if (!easy_)
        return makeURLError(URLErrorCode::unknown,
                            "libcurl cannot start a request; memory may be exhausted");
    if (std::optional<PlatformError> refusal = request_.apply(easy_.get(), options))
        return refusal;
    response_.attach(easy_.get());
    ::curl_easy_setopt(easy_.get(), CURLOPT_PRIVATE, this);
    ::curl_easy_setopt(easy_.get(), CURLOPT_ERRORBUFFER, message_.data());
    ::curl_easy_setopt(easy_.get(), CURLOPT_OPENSOCKETFUNCTION, &openSocket);
    ::curl_easy_setopt(easy_.get(), CURLOPT_NOPROGRESS, 0L);
    ::curl_easy_setopt(easy_.get(), CURLOPT_XFERINFOFUNCTION, &CurlExchange::onProgress);
    ::curl_easy_setopt(easy_.get(), CURLOPT_XFERINFODATA, this);
    ::curl_easy_setopt(easy_.get(), CURLOPT_PREREQFUNCTION, &CurlExchange::onConnected);
    ::curl_easy_setopt(easy_.get(), CURLOPT_PREREQDATA, this);
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

int CurlExchange::onConnected(void *self, char *, char *, int, int) {
    static_cast<CurlExchange *>(self)->noteProgress();
    return CURL_PREREQFUNC_OK;
}

HTTPOutcome CurlExchange::outcomeOf(CURLcode code) {
    HTTPOutcome outcome;
    if (code == CURLE_OK)
        response_.finish();
    if (response_.failure()) {
        outcome.error = response_.failure();
        return outcome;
    }
    // The request's scheme was checked before, so it is the answer that is of another protocol.
    if (code == CURLE_UNSUPPORTED_PROTOCOL)
        return outcome;
    if ((code == CURLE_OUT_OF_MEMORY || code == tooLarge) && response_.received() > 0 &&
        !response_.hasWholeHead()) {
        // So libcurl calls a line that is longer than it takes.
        outcome.error = makeURLError(URLErrorCode::dataLengthExceedsMaximum,
                                     "a header of the response is too long");
        return outcome;
    }
    if (code != CURLE_OK) {
        CurlFailure failure{code, message_.data(), 0, 0, request_.host()};
        if (failure.message.empty())
            failure.message = ::curl_easy_strerror(code);
        ::curl_easy_getinfo(easy_.get(), CURLINFO_SSL_VERIFYRESULT, &failure.certificateVerdict);
        ::curl_easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &failure.osError);
        outcome.error = makeURLError(failure);
        return outcome;
    }
    long status = 0;
    ::curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    // libcurl takes a response that breaks off within its headers for one without a body.
    if (status > 0 && !response_.hasWholeHead()) {
        outcome.error = makeURLError(URLErrorCode::networkConnectionLost,
                                     "the response ended within its headers");
        return outcome;
    }
    if (status > 0)
        outcome.statusCode = status;
    outcome.body = Data(response_.takeBody());
    return outcome;
}

} // namespace vmr
