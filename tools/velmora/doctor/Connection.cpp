#include "doctor/Connection.h"

#include <curl/curl.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <strings.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace velmora::doctor {
namespace {

constexpr long longestSeconds = 15;

using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

struct Watch {
    CURL *easy;
    Connection &connection;
};

/// The session lives only while the exchange does.
void noteSession(Watch &watch) {
    curl_tlssessioninfo *session = nullptr;
    if (curl_easy_getinfo(watch.easy, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK ||
        session->backend != CURLSSLBACKEND_OPENSSL || session->internals == nullptr)
        return;
    const auto *tls = static_cast<const SSL *>(session->internals);
    watch.connection.protocol = SSL_get_version(tls);
    const STACK_OF(X509) *chain = SSL_get0_verified_chain(tls);
    for (int i = 0; i < sk_X509_num(chain); ++i) {
        int days = 0;
        int seconds = 0;
        ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(sk_X509_value(chain, i)));
        watch.connection.daysLeft = std::min(watch.connection.daysLeft.value_or(days), days);
    }
}

std::size_t takeHeader(char *data, std::size_t size, std::size_t count, void *context) {
    Watch &watch = *static_cast<Watch *>(context);
    if (watch.connection.protocol.empty())
        noteSession(watch);
    const std::string line(data, size * count);
    constexpr std::string_view name = "Date:";
    if (::strncasecmp(line.c_str(), name.data(), name.size()) == 0) {
        const std::time_t time = curl_getdate(line.c_str() + name.size(), nullptr);
        if (time != -1)
            watch.connection.serverTime = time;
    }
    return size * count;
}

void applyOptions(CURL *easy, const Service &service, const Given &given) {
    curl_easy_setopt(easy, CURLOPT_URL, service.address.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT, longestSeconds);
    curl_easy_setopt(easy, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (given.certificateAuthorityFile) {
        curl_easy_setopt(easy, CURLOPT_CAINFO, given.certificateAuthorityFile->c_str());
        curl_easy_setopt(easy, CURLOPT_CAPATH, static_cast<const char *>(nullptr));
    }
    if (given.pinnedPublicKey)
        curl_easy_setopt(easy, CURLOPT_PINNEDPUBLICKEY, given.pinnedPublicKey->c_str());
    if (!given.allowProxy)
        curl_easy_setopt(easy, CURLOPT_PROXY, "");
}

} // namespace

Connection connectTo(const Service &service, const Given &given) {
    Connection connection;
    const Easy easy(curl_easy_init(), curl_easy_cleanup);
    if (!easy) {
        connection.failure = CURLE_FAILED_INIT;
        connection.failureText = curl_easy_strerror(CURLE_FAILED_INIT);
        return connection;
    }
    char text[CURL_ERROR_SIZE] = "";
    Watch watch{easy.get(), connection};
    applyOptions(easy.get(), service, given);
    curl_easy_setopt(easy.get(), CURLOPT_ERRORBUFFER, text);
    curl_easy_setopt(easy.get(), CURLOPT_HEADERFUNCTION, takeHeader);
    curl_easy_setopt(easy.get(), CURLOPT_HEADERDATA, &watch);
    const CURLcode code = curl_easy_perform(easy.get());
    connection.failure = code;
    connection.failureText = text[0] != '\0' ? text : curl_easy_strerror(code);
    curl_easy_getinfo(easy.get(), CURLINFO_SSL_VERIFYRESULT, &connection.verification);
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &connection.status);
    return connection;
}

} // namespace velmora::doctor
