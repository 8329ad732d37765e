#include "platform/linux/http/RequestCheck.h"

#include "platform/Format.h"
#include "platform/WebAddress.h"
#include "platform/linux/http/URLErrors.h"

#include <strings.h>

#include <algorithm>

namespace vmr {
namespace {

bool isToken(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    });
}

bool isHeaderValue(std::string_view text) {
    return std::ranges::none_of(text, [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && c != '\t') || byte == 0x7f;
    });
}

} // namespace

bool checkRequest(HTTPRequest &request, HTTPOutcome &outcome) {
    request.url = percentEncodedAddress(request.url);
    const Expected<WebAddress> address = WebAddress::forRequest(request.url);
    if (const auto *refusal = std::get_if<PlatformError>(&address))
        return fail(outcome, static_cast<URLErrorCode>(refusal->code),
                    formatText("nothing was sent to the address: %@", refusal->debugDescription()));

    if (!request.method)
        request.method = "GET";
    if (!isToken(*request.method))
        return fail(outcome, URLErrorCode::badURL,
                    "the request's method is not an HTTP method; nothing was sent");

    // The sender gives the body's true length; another one would break the framing.
    std::erase_if(request.headers, [](const auto &header) {
        return ::strcasecmp(header.first.c_str(), "Content-Length") == 0;
    });
    for (const auto &[name, value] : request.headers) {
        if (!isToken(name))
            return fail(outcome, URLErrorCode::badURL,
                        "the request has a header whose name holds characters that HTTP "
                        "does not allow; nothing was sent");
        if (!isHeaderValue(value))
            return fail(
                outcome, URLErrorCode::badURL,
                formatText("the value of the header %@ holds control characters; nothing was sent",
                           name));
    }
    return true;
}

} // namespace vmr
