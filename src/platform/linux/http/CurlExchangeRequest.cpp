#include "platform/Format.h"
#include "platform/linux/http/CurlExchange.h"
#include "platform/linux/http/RequestCheck.h"
#include "platform/linux/http/URLErrors.h"

#include <strings.h>

#include <algorithm>
#include <limits>
#include <utility>

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

/// The rules that are the same for every request.
constexpr std::pair<CURLoption, long> fixedOptions[] = {
    {CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2},
    {CURLOPT_SSL_VERIFYPEER, 1},
    {CURLOPT_SSL_VERIFYHOST, 2},
    {CURLOPT_NOSIGNAL, 1},
    {CURLOPT_FOLLOWLOCATION, 0},
    {CURLOPT_NETRC, CURL_NETRC_IGNORED},
    {CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_2TLS},
    {CURLOPT_HTTP_CONTENT_DECODING, 0},
    {CURLOPT_SUPPRESS_CONNECT_HEADERS, 1},
    {CURLOPT_QUICK_EXIT, 1}, // giving up on a name must not wait for the resolver
    {CURLOPT_PATH_AS_IS, 1}, // libcurl would shorten "/../"
};

void applyOptions(EasyOptions &easy, const CurlOptions &options) {
    for (const auto &[option, value] : fixedOptions)
        easy.set(option, value);
    // Else libcurl goes on without a length that is no number for it, and no body is cut off.
    easy.set(CURLOPT_MAXFILESIZE_LARGE, std::numeric_limits<curl_off_t>::max());
    easy.set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.idleTimeout.count()));
    easy.set(CURLOPT_TIMEOUT_MS, static_cast<long>(options.wholeTimeout.count()));
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

} // namespace

bool CurlExchange::readHeaders() {
    const auto append = [this](const char *line) {
        curl_slist *longer = ::curl_slist_append(headers_.get(), line);
        if (longer == nullptr)
            return false;
        static_cast<void>(headers_.release());
        headers_.reset(longer);
        return true;
    };
    const auto has = [this](const char *name) {
        return std::ranges::any_of(request_.headers, [name](const auto &header) {
            return ::strcasecmp(header.first.c_str(), name) == 0;
        });
    };

    bool complete = true;
    for (const auto &[name, value] : request_.headers) {
        // A semicolon is how libcurl is told to send a header without a value.
        const bool isEmpty = value.find_first_not_of(" \t") == std::string::npos;
        complete = complete && append(formatText(isEmpty ? "%@;" : "%@: %@", name, value).c_str());
    }
    // Headers that libcurl would add of its own.
    for (const char *name : {"Accept", "Content-Type", "Expect"})
        complete = complete && (has(name) || append(formatText("%@:", name).c_str()));
    return complete && (has("Accept-Encoding") || append("Accept-Encoding: gzip, deflate"));
}

CURLcode CurlExchange::applyRequest(const CurlOptions &options) {
    EasyOptions settings(easy_.get());
    applyOptions(settings, options);
    settings.set(CURLOPT_PROTOCOLS_STR, "http,https");
    settings.set(CURLOPT_URL, request_.url.c_str());
    settings.set(CURLOPT_HTTPHEADER, headers_.get());

    const std::string &method = *request_.method;
    const bool bodyExpected = method == "POST" || method == "PUT" || method == "PATCH";
    if (request_.body.isPresent() || bodyExpected) {
        const std::string_view body = request_.body.bytes();
        settings.set(CURLOPT_POST, 1L);
        settings.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        settings.set(CURLOPT_POSTFIELDS, body.empty() ? "" : body.data());
    } else if (method == "HEAD") {
        settings.set(CURLOPT_NOBODY, 1L);
    } else {
        settings.set(CURLOPT_HTTPGET, 1L);
    }
    settings.set(CURLOPT_CUSTOMREQUEST, method.c_str());
    return settings.result();
}

bool CurlExchange::prepare(const CurlOptions &options, CURLM *multi) {
    noteProgress();
    const auto failed = [this](std::string_view why) {
        return fail(outcome_, URLErrorCode::unknown, why);
    };
    easy_ = std::unique_ptr<CURL, CleanUpEasy>(::curl_easy_init(), CleanUpEasy{multi});
    if (!easy_)
        return failed("libcurl cannot start a request; memory may be exhausted");
    if (!checkRequest(request_, outcome_))
        return false;
    if (!readHeaders())
        return failed("out of memory; nothing was sent");
    if (const CURLcode code = applyRequest(options))
        return failed(formatText("libcurl refused a setting that is required: %@",
                                 ::curl_easy_strerror(code)));
    applyCallbacks();
    const CURLMcode code = ::curl_multi_add_handle(multi, easy_.get());
    return code == CURLM_OK || failed(::curl_multi_strerror(code));
}

} // namespace vmr
