#pragma once

#include "platform/HTTPSession.h"

#include <curl/curl.h>

#include <string_view>

namespace vmr {

/// Makes what libcurl failed with the outcome: the platform's text, what happened in detail
/// (`message` is curl's own sentence) and what remedies it. False.
bool fail(HTTPOutcome &outcome, CURLcode code, CURL *easy, std::string_view message,
          std::string_view host);

} // namespace vmr
