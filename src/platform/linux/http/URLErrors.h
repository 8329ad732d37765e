#pragma once

#include "platform/HTTPSession.h"

#include <string_view>

namespace vmr {

/// A transport error with the platform's text and, as its debug description, what happened in
/// detail and what remedies it. `host` appears in the texts about certificates.
PlatformError makeURLError(URLErrorCode code, std::string_view detail, std::string_view host = {});

/// Makes such an error the outcome, without the texts where there is no memory for them. False, for
/// who answers that.
bool fail(HTTPOutcome &outcome, URLErrorCode code, std::string_view detail,
          std::string_view host = {}) noexcept;

} // namespace vmr
