#include "platform/linux/http/URLErrors.h"

#include "platform/Format.h"

#include <utility>

namespace vmr {
namespace {

using Text = std::pair<URLErrorCode, std::string_view>;

constexpr Text texts[] = {
    {URLErrorCode::badURL, "bad URL"},
    {URLErrorCode::timedOut, "The request timed out."},
    {URLErrorCode::unsupportedURL, "unsupported URL"},
    {URLErrorCode::cannotFindHost, "A server with the specified hostname could not be found."},
    {URLErrorCode::cannotConnectToHost, "Could not connect to the server."},
    {URLErrorCode::networkConnectionLost, "The network connection was lost."},
    {URLErrorCode::notConnectedToInternet, "The Internet connection appears to be offline."},
    {URLErrorCode::cannotDecodeRawData, "cannot decode raw data"},
    {URLErrorCode::cannotParseResponse, "cannot parse response"},
    {URLErrorCode::appTransportSecurityRequiresSecureConnection,
     "The resource could not be loaded because the App Transport Security policy requires the use "
     "of a secure connection."},
    {URLErrorCode::dataLengthExceedsMaximum, "resource exceeds maximum size"},
    {URLErrorCode::secureConnectionFailed,
     "An SSL error has occurred and a secure connection to the server cannot be made."},
};

/// What the sentence about a certificate says of it.
constexpr Text certificateFaults[] = {
    {URLErrorCode::serverCertificateHasBadDate, "has expired"},
    {URLErrorCode::serverCertificateUntrusted, "is invalid"},
    {URLErrorCode::serverCertificateHasUnknownRoot,
     "was signed by an unknown certifying authority"},
    {URLErrorCode::serverCertificateNotYetValid, "is not yet valid"},
};

std::string textOf(URLErrorCode code, std::string_view host) {
    for (const auto &[faulty, fault] : certificateFaults) {
        if (faulty == code)
            return formatText(
                "The certificate for this server %@. You might be connecting to a server that is "
                "pretending to be “%@” which could put your confidential information at risk.",
                fault, host);
    }
    for (const auto &[known, text] : texts) {
        if (known == code)
            return std::string(text);
    }
    return "unknown error";
}

} // namespace

PlatformError makeURLError(URLErrorCode code, std::string_view detail, std::string_view host) {
    PlatformError error{NSURLErrorDomain, static_cast<std::int64_t>(code), {}};
    putText(error.userInfo, "NSLocalizedDescription", textOf(code, host));
    if (!detail.empty()) {
        std::string text(detail);
        // Quotes of the server's words may be in any encoding.
        for (char &c : text) {
            if (static_cast<unsigned char>(c) >= 0x80)
                c = '?';
        }
        putText(error.userInfo, "NSDebugDescription", text);
    }
    return error;
}

bool fail(HTTPOutcome &outcome, URLErrorCode code, std::string_view detail,
          std::string_view host) noexcept {
    outcome = {};
    try {
        outcome.error = makeURLError(code, detail, host);
    } catch (const std::bad_alloc &) { // the code alone must do
        outcome.error = PlatformError{NSURLErrorDomain, static_cast<std::int64_t>(code), {}};
    }
    return false;
}

} // namespace vmr
