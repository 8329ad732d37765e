#pragma once

#include "platform/PlatformError.h"

#include <curl/curl.h>

#include <string>
#include <string_view>

namespace vmr {

/// A transport error with the platform's text and, as its debug description, what happened in
/// detail and what remedies it. `host` appears in the texts about certificates.
PlatformError makeURLError(URLErrorCode code, std::string_view detail, std::string_view host = {});

/// What libcurl knows of an exchange that failed.
struct CurlFailure {
    CURLcode code = CURLE_OK;
    /// curl's own sentence.
    std::string message;
    /// OpenSSL's verdict over the server's certificate chain.
    long certificateVerdict = 0;
    long osError = 0;
    std::string host;
};

PlatformError makeURLError(const CurlFailure &failure);

} // namespace vmr
