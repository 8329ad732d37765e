#include "platform/WebAddress.h"

#include "platform/Hexadecimal.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace vmr {
namespace {

// The C library's classification follows the host's locale; addresses do not.
bool isAlpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isHex(char c) {
    return hexadecimalDigitValue(c) >= 0;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char &c : lower) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

std::size_t schemeLength(std::string_view text) {
    const std::size_t end = text.find("://");
    if (end == std::string_view::npos || end == 0 || !isAlpha(text.front()))
        return 0;
    const bool valid = std::ranges::all_of(text.substr(0, end), [](char c) {
        return isAlpha(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
    });
    return valid ? end : 0;
}

bool isHostName(std::string_view host) {
    return !host.empty() && std::ranges::all_of(host, [](char c) {
        return isAlpha(c) || isDigit(c) || c == '-' || c == '.' || c == '_';
    });
}

bool isIPv6Literal(std::string_view host) {
    return host.find(':') != std::string_view::npos &&
           std::ranges::all_of(host, [](char c) { return isHex(c) || c == ':' || c == '.'; });
}

bool isPort(std::string_view port) {
    unsigned number = 0;
    const auto [end, failure] = std::from_chars(port.data(), port.data() + port.size(), number);
    return failure == std::errc() && end == port.data() + port.size() && number >= 1 &&
           number <= 65535;
}

bool splitAuthority(std::string_view authority, WebAddress &address) {
    // An IPv6 literal's own colons stand before its bracket.
    const std::size_t colon =
        authority.find(':', authority.starts_with('[') ? authority.find(']') : 0);
    std::string_view host = authority.substr(0, colon);
    const std::string_view port = authority.substr(std::min(host.size() + 1, authority.size()));
    const bool isLiteral = host.starts_with('[') && host.ends_with(']');
    if (isLiteral)
        host = host.substr(1, host.size() - 2);
    if (!(isLiteral ? isIPv6Literal(host) : isHostName(host)) || !(port.empty() || isPort(port)))
        return false;
    address.host = lowerCase(host);
    address.port = port;
    return true;
}

bool isAllowedInAddress(char c) {
    return isAlpha(c) || isDigit(c) ||
           std::string_view("-._~:/?#@!$&'()*+,;=").find(c) != std::string_view::npos;
}

} // namespace

std::optional<WebAddress> WebAddress::parse(std::string_view text) {
    const std::size_t scheme = schemeLength(text);
    if (scheme == 0)
        return std::nullopt;
    WebAddress address;
    address.scheme = lowerCase(text.substr(0, scheme));

    const std::string_view rest = text.substr(scheme + 3);
    const std::size_t authorityEnd = rest.find_first_of("/?#");
    std::string_view authority = rest.substr(0, authorityEnd);
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos) {
        address.hasUserInfo = true;
        authority.remove_prefix(at + 1);
    }
    if (!splitAuthority(authority, address))
        return std::nullopt;
    address.hasQueryOrFragment = rest.find_first_of("?#") != std::string_view::npos;
    return address;
}

bool WebAddress::isLoopback() const {
    if (host == "localhost" || host == "::1")
        return true;
    // Four plain decimal numbers: shorter and octal spellings, which different resolvers read
    // differently, are none here.
    std::array<unsigned char, 4> octets{};
    return ::inet_pton(AF_INET, host.c_str(), octets.data()) == 1 && octets[0] == 127;
}

Expected<WebAddress> WebAddress::forRequest(std::string_view text) {
    const auto refused = [](URLErrorCode code, std::string_view why) {
        return platformError(NSURLErrorDomain, static_cast<std::int64_t>(code), why);
    };
    if (schemeLength(text) == 0)
        return refused(URLErrorCode::unsupportedURL,
                       "it is not absolute: it must begin with https://");
    std::optional<WebAddress> address = parse(text);
    if (!address)
        return refused(URLErrorCode::badURL, "its host or port cannot be read");
    if (address->scheme != "https" && address->scheme != "http")
        return refused(URLErrorCode::unsupportedURL, "its scheme is not supported: use https");
    if (address->scheme == "http" && !address->isLoopback())
        return refused(URLErrorCode::appTransportSecurityRequiresSecureConnection,
                       "http is only for loopback addresses (127.0.0.0/8, [::1], localhost): use "
                       "https");
    if (address->hasUserInfo)
        return refused(URLErrorCode::badURL, "it holds a user or password: leave them out");
    return *std::move(address);
}

std::string_view WebAddress::effectivePort() const {
    if (!port.empty())
        return port;
    return scheme == "http" ? "80" : "443";
}

std::string percentEncodedAddress(std::string_view text) {
    std::size_t authorityEnd = 0;
    if (const std::size_t scheme = schemeLength(text); scheme > 0)
        authorityEnd = std::min(text.find_first_of("/?#", scheme + 3), text.size());
    std::string encoded;
    encoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool escape =
            c == '%' && i + 2 < text.size() && isHex(text[i + 1]) && isHex(text[i + 2]);
        // Brackets belong to an IPv6 host and to nothing after it.
        const bool bracket = (c == '[' || c == ']') && i < authorityEnd;
        if (escape || bracket || isAllowedInAddress(c)) {
            encoded += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        encoded += '%';
        encoded += upperCaseHexadecimalDigits[byte >> 4];
        encoded += upperCaseHexadecimalDigits[byte & 15];
    }
    return encoded;
}

} // namespace vmr
