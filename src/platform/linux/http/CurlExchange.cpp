#include "platform/linux/http/CurlExchange.h"

#include "platform/Format.h"
#include "platform/WebAddress.h"
#include "platform/linux/http/CurlErrors.h"
#include "platform/linux/http/URLErrors.h"

#include <strings.h>
#include <sys/socket.h>

namespace vmr {
namespace {

/// CURLE_TOO_LARGE, which libcurl has since 8.6; before, it said that memory was short.
constexpr auto tooLarge = static_cast<CURLcode>(100);

constexpr std::size_t headerLimit = std::size_t{256} * 1024;

/// What libcurl is told: any other number than the one it handed over counts as a failure. Nothing
/// may be thrown through its frames; it would take itself for still being inside the callback.
template <class Take>
std::size_t answer(std::size_t size, const Take &take) noexcept {
    bool taken = false;
    try {
        taken = take();
    } catch (...) {
        taken = false;
    }
    const std::size_t refused = size == 0 ? 1 : 0;
    return taken ? size : refused;
}

} // namespace

void CurlExchange::applyCallbacks() {
    const auto set = [this](CURLoption option, auto callback, CURLoption argument) {
        ::curl_easy_setopt(easy_.get(), option, callback);
        ::curl_easy_setopt(easy_.get(), argument, this);
    };
    set(CURLOPT_HEADERFUNCTION, &CurlExchange::onHeader, CURLOPT_HEADERDATA);
    set(CURLOPT_WRITEFUNCTION, &CurlExchange::onBody, CURLOPT_WRITEDATA);
    set(CURLOPT_OPENSOCKETFUNCTION, &CurlExchange::openSocket, CURLOPT_OPENSOCKETDATA);
    set(CURLOPT_XFERINFOFUNCTION, &CurlExchange::onProgress, CURLOPT_XFERINFODATA);
    set(CURLOPT_PREREQFUNCTION, &CurlExchange::onSending, CURLOPT_PREREQDATA);
    ::curl_easy_setopt(easy_.get(), CURLOPT_NOPROGRESS, 0L);
    ::curl_easy_setopt(easy_.get(), CURLOPT_ERRORBUFFER, message_.data());
}

std::size_t CurlExchange::onHeader(char *bytes, std::size_t size, std::size_t count, void *self) {
    return answer(size * count, [&] {
        return static_cast<CurlExchange *>(self)->takeHeader({bytes, size * count});
    });
}

std::size_t CurlExchange::onBody(char *bytes, std::size_t size, std::size_t count, void *self) {
    return answer(size * count, [&] {
        return static_cast<CurlExchange *>(self)->takeBodyPart({bytes, size * count});
    });
}

int CurlExchange::onProgress(void *self, curl_off_t, curl_off_t down, curl_off_t, curl_off_t up) {
    auto &exchange = *static_cast<CurlExchange *>(self);
    const curl_off_t moved = down + up + static_cast<curl_off_t>(exchange.received_);
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

bool CurlExchange::takeHeader(std::string_view line) {
    static constexpr std::string_view encoding = "content-encoding:";
    received_ += line.size();
    headerBytes_ += line.size();
    if (headerBytes_ > headerLimit)
        return fail(outcome_, URLErrorCode::dataLengthExceedsMaximum,
                    formatText("the response's headers are longer than %lu bytes", headerLimit));
    if (line.starts_with("HTTP/"))
        hasWholeHead_ = false; // what came before was an interim response
    if (line == "\r\n" || line == "\n")
        hasWholeHead_ = true;
    if (line.size() < encoding.size() ||
        ::strncasecmp(line.data(), encoding.data(), encoding.size()) != 0)
        return true;
    std::string_view value = line.substr(encoding.size());
    while (!value.empty() && (value.back() == '\r' || value.back() == '\n'))
        value.remove_suffix(1);
    return body_.setEncoding(value) ||
           fail(outcome_, URLErrorCode::cannotDecodeRawData,
                "the response is encoded in a way that was not asked for");
}

bool CurlExchange::takeBodyPart(std::string_view bytes) {
    received_ += bytes.size();
    return body_.append(bytes, outcome_);
}

bool CurlExchange::conclude(CURLcode code) {
    if (outcome_.error || (code == CURLE_OK && !body_.finish(outcome_)))
        return false;
    if (wasLost_)
        return fail(outcome_, URLErrorCode::networkConnectionLost,
                    "the service closed the kept connection without an answer");
    // So libcurl calls a line that is longer than it takes.
    if ((code == CURLE_OUT_OF_MEMORY || code == tooLarge) && wasSent_ && !hasWholeHead_)
        return fail(outcome_, URLErrorCode::dataLengthExceedsMaximum,
                    code == tooLarge ? "a header of the response is too long"
                                     : "a header of the response is too long, or there is "
                                       "not enough memory for it");
    // The request's scheme was checked before, so it is the answer that is of another protocol.
    if (code == CURLE_UNSUPPORTED_PROTOCOL)
        return true;
    if (code != CURLE_OK) {
        const auto address = WebAddress::parse(request_.url);
        const char *message = message_[0] != '\0' ? message_.data() : ::curl_easy_strerror(code);
        return fail(outcome_, code, easy_.get(), message,
                    address ? std::string_view(address->host) : "");
    }
    long status = 0;
    ::curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    // libcurl takes a response that breaks off within its headers for one without a body.
    if (status > 0 && !hasWholeHead_)
        return fail(outcome_, URLErrorCode::networkConnectionLost,
                    "the response ended within its headers");
    if (status > 0)
        outcome_.statusCode = status;
    outcome_.body = Data(body_.take());
    return true;
}

} // namespace vmr
