#pragma once

#include "platform/PlatformError.h"

#include <curl/curl.h>

#include <string>
#include <string_view>

namespace vmr {

/// The permanent codes of transport errors, in NSURLErrorDomain.
enum class URLErrorCode : int {
    unknown = -1,
    cancelled = -999,
    badURL = -1000,
    timedOut = -1001,
    unsupportedURL = -1002,
    cannotFindHost = -1003,
    cannotConnectToHost = -1004,
    networkConnectionLost = -1005,
    notConnectedToInternet = -1009,
    cannotDecodeRawData = -1015,
    cannotParseResponse = -1017,
    appTransportSecurityRequiresSecureConnection = -1022,
    dataLengthExceedsMaximum = -1103,
    secureConnectionFailed = -1200,
    serverCertificateHasBadDate = -1201,
    serverCertificateUntrusted = -1202,
    serverCertificateHasUnknownRoot = -1203,
    serverCertificateNotYetValid = -1204,
};

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
