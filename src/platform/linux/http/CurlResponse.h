#pragma once

#include "platform/PlatformError.h"
#include "platform/linux/http/BodyDecoder.h"

#include <curl/curl.h>

#include <cstddef>
#include <optional>
#include <string>

namespace vmr {

/// Receives one response from libcurl, within bounds, and undoes its encoding. Used by one thread.
class CurlResponse {
public:
    explicit CurlResponse(std::size_t bodyLimit) : body_(bodyLimit) {}

    /// Makes `easy` deliver to this object, which must stay where it is.
    void attach(CURL *easy);

    /// Called after the last byte of a whole response.
    void finish();
    /// What was wrong with the response itself, which libcurl only knows as a refused write.
    const std::optional<PlatformError> &failure() const { return failure_; }
    std::string takeBody() { return body_.take(); }
    /// Whether the headers have come to their end.
    bool hasWholeHead() const { return hasWholeHead_; }
    /// How many bytes have come in, of headers and body.
    std::size_t received() const { return received_; }

private:
    static std::size_t onHeader(char *bytes, std::size_t size, std::size_t count, void *self);
    static std::size_t onBody(char *bytes, std::size_t size, std::size_t count, void *self);
    bool takeHeader(std::string_view line);
    bool takeBodyPart(std::string_view bytes);

    BodyDecoder body_;
    std::optional<PlatformError> failure_;
    std::size_t received_ = 0;
    std::size_t headerBytes_ = 0;
    bool hasWholeHead_ = false;
};

} // namespace vmr
