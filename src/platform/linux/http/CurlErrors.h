#pragma once

#include "platform/HTTPSession.h"

#include <curl/curl.h>

#include <string_view>

namespace vmr {

/// What libcurl knows of an exchange that failed.
struct CurlFailure {
    CURLcode code = CURLE_OK;
    /// curl's own sentence.
    std::string_view message;
    /// OpenSSL's verdict over the server's certificate chain.
    long certificateVerdict = 0;
    long osError = 0;
    std::string_view host;
};

/// Makes it the outcome, with the platform's text, what happened in detail, and what remedies it.
/// False.
bool fail(HTTPOutcome &outcome, const CurlFailure &failure);

} // namespace vmr
