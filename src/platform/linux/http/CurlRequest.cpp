#include "platform/linux/http/CurlRequest.h"

#include "platform/Format.h"
#include "platform/WebAddress.h"
#include "platform/linux/http/URLErrors.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

namespace vmr {
namespace {

/// Sets options and remembers the first that libcurl refused, so that a rule (a pinned key, the
/// TLS version) that this libcurl does not know is never silently left out.
class EasyOptions {
public:
    explicit EasyOptions(CURL *easy) : easy_(easy) {}

    template <class Argument>
    void set(CURLoption option, Argument argument) {
        if (result_ == CURLE_OK)
            result_ = ::curl_easy_setopt(easy_, option, argument);
    }
    CURLcode result() const { return result_; }

private:
    CURL *easy_;
    CURLcode result_ = CURLE_OK;
};

bool isToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    });
}

bool isHeaderValue(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && c != '\t') || byte == 0x7f;
    });
}

bool sameName(const std::string &name, const char *other) {
    return ::strcasecmp(name.c_str(), other) == 0;
}

void applyTrust(EasyOptions &easy, const CurlOptions &options) {
    easy.set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    easy.set(CURLOPT_SSL_VERIFYPEER, 1L);
    easy.set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (options.certificateAuthorityFile) {
        easy.set(CURLOPT_CAINFO, options.certificateAuthorityFile->c_str());
        // The system's folder of authorities would be trusted beside the file.
        easy.set(CURLOPT_CAPATH, static_cast<const char *>(nullptr));
    }
    if (options.pinnedPublicKey)
        easy.set(CURLOPT_PINNEDPUBLICKEY, options.pinnedPublicKey->c_str());
    if (!options.allowProxy)
        easy.set(CURLOPT_PROXY, "");
}

void applyManners(EasyOptions &easy, const CurlOptions &options) {
    easy.set(CURLOPT_NOSIGNAL, 1L);
    easy.set(CURLOPT_FOLLOWLOCATION, 0L);
    easy.set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    easy.set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
    easy.set(CURLOPT_HTTP_CONTENT_DECODING, 0L);
    easy.set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    easy.set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.idleTimeout.count()));
    easy.set(CURLOPT_TIMEOUT_MS, static_cast<long>(options.wholeTimeout.count()));
    // Giving up on a name that does not resolve must not wait for the resolver.
    easy.set(CURLOPT_QUICK_EXIT, 1L);
}

} // namespace

std::optional<PlatformError> CurlRequest::readAddress() {
    address_ = percentEncodedAddress(request_.url);
    const Expected<WebAddress> address = WebAddress::forRequest(address_);
    if (const auto *refusal = std::get_if<PlatformError>(&address))
        return makeURLError(
            static_cast<URLErrorCode>(refusal->code),
            formatText("nothing was sent to the address: %@", refusal->debugDescription()));
    host_ = std::get<WebAddress>(address).host;
    return std::nullopt;
}

std::optional<PlatformError> CurlRequest::readMethod() {
    method_ = request_.method.value_or("GET");
    if (!isToken(method_))
        return makeURLError(URLErrorCode::badURL,
                            "the request's method is not an HTTP method; nothing was sent");
    return std::nullopt;
}

std::optional<PlatformError> CurlRequest::readHeaders() {
    const auto append = [this](const std::string &line) {
        curl_slist *longer = ::curl_slist_append(headers_.get(), line.c_str());
        if (longer == nullptr)
            return false;
        static_cast<void>(headers_.release());
        headers_.reset(longer);
        return true;
    };
    const auto has = [this](const char *name) {
        return std::any_of(request_.headers.begin(), request_.headers.end(),
                           [name](const auto &header) { return sameName(header.first, name); });
    };

    bool complete = true;
    for (const auto &[name, value] : request_.headers) {
        if (!isToken(name))
            return makeURLError(URLErrorCode::badURL,
                                "the request has a header whose name holds characters that HTTP "
                                "does not allow; nothing was sent");
        if (!isHeaderValue(value))
            return makeURLError(URLErrorCode::badURL, "the value of the header " + name +
                                                          " holds control characters; nothing was "
                                                          "sent");
        // libcurl sends the body's true length; another one would break the framing.
        if (sameName(name, "Content-Length"))
            continue;
        // A semicolon is how libcurl is told to send a header without a value.
        complete = complete && append(value.find_first_not_of(" \t") == std::string::npos
                                          ? name + ";"
                                          : name + ": " + value);
    }
    // Headers that libcurl would add of its own.
    for (const char *name : {"Accept", "Content-Type", "Expect"}) {
        if (!has(name))
            complete = complete && append(std::string(name) + ":");
    }
    if (!has("Accept-Encoding"))
        complete = complete && append("Accept-Encoding: gzip, deflate");
    if (!complete)
        return makeURLError(URLErrorCode::unknown, "out of memory; nothing was sent");
    return std::nullopt;
}

std::optional<PlatformError> CurlRequest::apply(CURL *easy, const CurlOptions &options) {
    for (const auto read :
         {&CurlRequest::readAddress, &CurlRequest::readMethod, &CurlRequest::readHeaders}) {
        if (std::optional<PlatformError> refusal = (this->*read)())
            return refusal;
    }

    EasyOptions settings(easy);
    applyTrust(settings, options);
    applyManners(settings, options);
    settings.set(CURLOPT_PROTOCOLS_STR, "http,https");
    settings.set(CURLOPT_URL, address_.c_str());
    // libcurl would shorten "/../"; the address is sent as it was given.
    settings.set(CURLOPT_PATH_AS_IS, 1L);
    settings.set(CURLOPT_HTTPHEADER, headers_.get());

    const bool bodyExpected = method_ == "POST" || method_ == "PUT" || method_ == "PATCH";
    if (request_.body.isPresent() || bodyExpected) {
        const std::string_view body = request_.body.bytes();
        settings.set(CURLOPT_POST, 1L);
        settings.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        settings.set(CURLOPT_POSTFIELDS, body.empty() ? "" : body.data());
    } else if (method_ == "HEAD") {
        settings.set(CURLOPT_NOBODY, 1L);
    } else {
        settings.set(CURLOPT_HTTPGET, 1L);
    }
    settings.set(CURLOPT_CUSTOMREQUEST, method_.c_str());

    if (settings.result() != CURLE_OK)
        return makeURLError(URLErrorCode::unknown,
                            std::string("libcurl refused a setting that is required: ") +
                                ::curl_easy_strerror(settings.result()));
    return std::nullopt;
}

} // namespace vmr
