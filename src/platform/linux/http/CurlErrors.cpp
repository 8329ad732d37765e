#include "platform/linux/http/CurlErrors.h"

#include "platform/linux/http/URLErrors.h"

#include <openssl/x509_vfy.h>

#include <cerrno>
#include <string>

namespace vmr {
namespace {

URLErrorCode codeForCertificate(long verdict) {
    switch (verdict) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return URLErrorCode::serverCertificateHasBadDate;
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return URLErrorCode::serverCertificateNotYetValid;
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        return URLErrorCode::serverCertificateHasUnknownRoot;
    default:
        return URLErrorCode::serverCertificateUntrusted;
    }
}

URLErrorCode codeFor(CURLcode code, long certificateVerdict, long osError) {
    switch (code) {
    case CURLE_URL_MALFORMAT:
        return URLErrorCode::badURL;
    case CURLE_UNSUPPORTED_PROTOCOL:
        return URLErrorCode::unsupportedURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return URLErrorCode::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
        return osError == ENETUNREACH ? URLErrorCode::notConnectedToInternet
                                      : URLErrorCode::cannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
        return URLErrorCode::timedOut;
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_PARTIAL_FILE:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return URLErrorCode::networkConnectionLost;
    case CURLE_FILESIZE_EXCEEDED:
        return URLErrorCode::dataLengthExceedsMaximum;
    case CURLE_WEIRD_SERVER_REPLY:
        return URLErrorCode::cannotParseResponse;
    case CURLE_PEER_FAILED_VERIFICATION:
        return codeForCertificate(certificateVerdict);
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_ISSUER_ERROR:
        return URLErrorCode::serverCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ENGINE_INITFAILED:
        return URLErrorCode::secureConnectionFailed;
    default:
        return URLErrorCode::unknown;
    }
}

std::string_view remedyFor(CURLcode code, URLErrorCode meaning) {
    switch (code) {
    case CURLE_SSL_CACERT_BADFILE:
        return "; the file of trusted certificate authorities cannot be read: install the "
               "system's (package ca-certificates), or name a readable PEM file as the "
               "certificate authority file";
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        return "; the server does not hold the pinned public key: if the service's key has "
               "changed, pin the new one";
    case CURLE_PEER_FAILED_VERIFICATION:
        return meaning == URLErrorCode::serverCertificateHasUnknownRoot
                   ? "; if the service has an authority of its own, name its PEM file as the "
                     "certificate authority file"
                   : "";
    case CURLE_WRITE_ERROR:
        return "; there was not enough memory for the response";
    default:
        return "";
    }
}

} // namespace

bool fail(HTTPOutcome &outcome, CURLcode code, CURL *easy, std::string_view message,
          std::string_view host) {
    std::string detail(message);
    long certificateVerdict = 0;
    long osError = 0;
    ::curl_easy_getinfo(easy, CURLINFO_SSL_VERIFYRESULT, &certificateVerdict);
    ::curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &osError);
    const URLErrorCode meaning = codeFor(code, certificateVerdict, osError);
    detail += remedyFor(code, meaning);
    return fail(outcome, meaning, detail, host);
}

} // namespace vmr
