#pragma once

#include "platform/HTTPSession.h"
#include "platform/linux/http/BodyDecoder.h"
#include "platform/linux/http/CurlOptions.h"

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <memory>
#include <string_view>

namespace vmr {

struct CleanUpEasy {
    CURLM *multi = nullptr;
    void operator()(CURL *easy) const {
        ::curl_multi_remove_handle(multi, easy);
        ::curl_easy_cleanup(easy);
    }
};

struct FreeHeaderList {
    void operator()(curl_slist *list) const { ::curl_slist_free_all(list); }
};

/// One request on its way to its outcome, sent at most once; its response is taken within bounds.
/// Made on any thread, then used by the session's alone, which destroys it within a
/// `CurlLibrary::Use`.
class CurlExchange {
public:
    using Instant = std::chrono::steady_clock::time_point;

    CurlExchange(HTTPRequest &&request, HTTPSession::Completion &&completion,
                 const CurlOptions &options)
        : completion_(std::move(completion)), request_(std::move(request)),
          body_(options.responseLimit) {}

    /// Does what is heavy about the request; false when there is no memory for it.
    bool makeBody() { return request_.body.make(); }
    std::size_t bodySize() const { return request_.body.size(); }
    /// Makes the handle and adds it. False with what forbids the request as the outcome; then
    /// nothing of it may be sent.
    bool prepare(const CurlOptions &options, CURLM *multi);

    /// When something last moved.
    Instant lastProgress() const { return lastProgress_; }

    /// Takes down what libcurl ended with. False when that is no answer of the service.
    bool conclude(CURLcode code);
    HTTPOutcome &outcome() { return outcome_; }
    HTTPSession::Completion takeCompletion() { return std::move(completion_); }
    /// Lets go of the handle, within a `CurlLibrary::Use`. What is left may go on any thread.
    void close() { easy_.reset(); }

private:
    /// False when there is no memory for them.
    bool readHeaders();
    CURLcode applyRequest(const CurlOptions &options);
    void applyCallbacks();
    static std::size_t onHeader(char *bytes, std::size_t size, std::size_t count, void *self);
    static std::size_t onBody(char *bytes, std::size_t size, std::size_t count, void *self);
    static int onProgress(void *self, curl_off_t downTotal, curl_off_t down, curl_off_t upTotal,
                          curl_off_t up);
    static curl_socket_t openSocket(void *self, curlsocktype purpose, curl_sockaddr *address);
    static int onSending(void *self, char *remote, char *local, int remotePort, int localPort);
    bool takeHeader(std::string_view line);
    bool takeBodyPart(std::string_view bytes);
    void noteProgress() { lastProgress_ = std::chrono::steady_clock::now(); }

    HTTPSession::Completion completion_;
    HTTPRequest request_;
    std::unique_ptr<curl_slist, FreeHeaderList> headers_;
    BodyDecoder body_;
    /// Has an error once something is wrong with the response itself, which libcurl only knows as a
    /// refused write.
    HTTPOutcome outcome_;
    std::size_t received_ = 0;
    std::size_t headerBytes_ = 0;
    bool hasWholeHead_ = false;
    std::array<char, CURL_ERROR_SIZE> message_{};
    Instant lastProgress_{};
    curl_off_t moved_ = 0;
    bool wasSent_ = false;
    bool wasLost_ = false;
    // Last, so that it goes before what it refers to.
    std::unique_ptr<CURL, CleanUpEasy> easy_;
};

} // namespace vmr
