#include "platform/linux/http/CurlResponse.h"

#include "platform/Format.h"
#include "platform/linux/http/URLErrors.h"

#include <strings.h>

namespace vmr {
namespace {

constexpr std::size_t headerLimit = std::size_t{256} * 1024;

/// What libcurl is told: any other number than the one it handed over counts as a failure. Nothing
/// may be thrown through its frames; it would take itself for still being inside the callback.
template <class Take>
std::size_t answer(std::size_t size, const Take &take) noexcept {
    bool taken = false;
    try {
        taken = take();
    } catch (...) {
        taken = false;
    }
    const std::size_t refused = size == 0 ? 1 : 0;
    return taken ? size : refused;
}

} // namespace

void CurlResponse::attach(CURL *easy) {
    ::curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &CurlResponse::onHeader);
    ::curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    ::curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &CurlResponse::onBody);
    ::curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
}

std::size_t CurlResponse::onHeader(char *bytes, std::size_t size, std::size_t count, void *self) {
    return answer(size * count, [&] {
        return static_cast<CurlResponse *>(self)->takeHeader({bytes, size * count});
    });
}

std::size_t CurlResponse::onBody(char *bytes, std::size_t size, std::size_t count, void *self) {
    return answer(size * count, [&] {
        return static_cast<CurlResponse *>(self)->takeBodyPart({bytes, size * count});
    });
}

bool CurlResponse::takeHeader(std::string_view line) {
    static constexpr std::string_view encoding = "content-encoding:";
    received_ += line.size();
    headerBytes_ += line.size();
    if (headerBytes_ > headerLimit) {
        failure_ = makeURLError(
            URLErrorCode::dataLengthExceedsMaximum,
            formatText("the response's headers are longer than %lu bytes", headerLimit));
        return false;
    }
    if (line.starts_with("HTTP/"))
        hasWholeHead_ = false; // what came before was an interim response
    if (line == "\r\n" || line == "\n")
        hasWholeHead_ = true;
    if (line.size() < encoding.size() ||
        ::strncasecmp(line.data(), encoding.data(), encoding.size()) != 0)
        return true;
    std::string_view value = line.substr(encoding.size());
    while (!value.empty() && (value.back() == '\r' || value.back() == '\n'))
        value.remove_suffix(1);
    if (body_.setEncoding(value))
        return true;
    failure_ = makeURLError(URLErrorCode::cannotDecodeRawData,
                            "the response is encoded in a way that was not asked for");
    return false;
}

bool CurlResponse::takeBodyPart(std::string_view bytes) {
    received_ += bytes.size();
    failure_ = body_.append(bytes);
    return !failure_;
}

void CurlResponse::finish() {
    failure_ = body_.finish();
}

} // namespace vmr
