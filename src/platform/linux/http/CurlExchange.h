#pragma once

#include "platform/HTTPSession.h"
#include "platform/linux/http/CurlRequest.h"
#include "platform/linux/http/CurlResponse.h"

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <memory>
#include <optional>

namespace vmr {

struct CleanUpEasy {
    CURLM *multi = nullptr;
    void operator()(CURL *easy) const {
        ::curl_multi_remove_handle(multi, easy);
        ::curl_easy_cleanup(easy);
    }
};

/// One request on its way to its outcome, sent at most once. Made on any thread, then used by the
/// worker alone, which destroys it within a `CurlLibrary::Use`.
class CurlExchange {
public:
    using Instant = std::chrono::steady_clock::time_point;

    CurlExchange(HTTPRequest &&request, HTTPSession::Completion &&completion,
                 const CurlOptions &options);

    bool makeBody() { return request_.makeBody(); }
    std::size_t bodySize() const { return request_.bodySize(); }
    /// Makes the handle and adds it. What forbids the request, if anything does.
    std::optional<PlatformError> prepare(const CurlOptions &options, CURLM *multi);

    /// When something last moved.
    Instant lastProgress() const { return lastProgress_; }

    HTTPOutcome outcomeOf(CURLcode code);
    HTTPSession::Completion takeCompletion() { return std::move(completion_); }

private:
    std::optional<PlatformError> errorOf(CURLcode code, bool hasStatus);
    static int onProgress(void *self, curl_off_t downTotal, curl_off_t down, curl_off_t upTotal,
                          curl_off_t up);
    static curl_socket_t openSocket(void *self, curlsocktype purpose, curl_sockaddr *address);
    static int onSending(void *self, char *remote, char *local, int remotePort, int localPort);
    void noteProgress() { lastProgress_ = std::chrono::steady_clock::now(); }

    HTTPSession::Completion completion_;
    CurlRequest request_;
    CurlResponse response_;
    std::array<char, CURL_ERROR_SIZE> message_{};
    Instant lastProgress_{};
    curl_off_t moved_ = 0;
    bool wasSent_ = false;
    bool wasLost_ = false;
    // Last, so that it goes before what it refers to.
    std::unique_ptr<CURL, CleanUpEasy> easy_;
};

} // namespace vmr
