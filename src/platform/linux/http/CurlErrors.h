#pragma once

#include "platform/PlatformError.h"

#include <curl/curl.h>

#include <string>

namespace vmr {

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

/// The error with the platform's text, what happened in detail, and what remedies it.
PlatformError makeURLError(const CurlFailure &failure);

} // namespace vmr
