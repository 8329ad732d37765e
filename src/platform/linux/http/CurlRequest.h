#pragma once

#include "platform/HTTPSession.h"
#include "platform/linux/http/CurlOptions.h"

#include <curl/curl.h>

#include <memory>
#include <optional>
#include <string>

namespace vmr {

struct FreeHeaderList {
    void operator()(curl_slist *list) const { ::curl_slist_free_all(list); }
};

/// Puts a request and the rules of transport into an easy handle. Owns what the handle refers to,
/// so it must outlive the handle's use. Used by one thread.
class CurlRequest {
public:
    explicit CurlRequest(HTTPRequest &&request) : request_(std::move(request)) {}

    /// Does what is heavy about the request; false when there is no memory for it.
    bool makeBody() { return request_.body.make(); }
    std::size_t bodySize() const { return request_.body.size(); }
    /// What forbids the request, if anything does; then nothing of it may be sent.
    std::optional<PlatformError> apply(CURL *easy, const CurlOptions &options);

    /// The host of the address; empty where that is none.
    std::string host() const;

private:
    /// False when there is no memory for them.
    bool readHeaders();

    HTTPRequest request_;
    std::unique_ptr<curl_slist, FreeHeaderList> headers_;
};

} // namespace vmr
