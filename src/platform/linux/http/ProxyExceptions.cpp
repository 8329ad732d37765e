#include "platform/linux/http/ProxyExceptions.h"

#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

namespace vmr {
namespace {

/// An IP address as its bytes; IPv4 uses the first four. Without bits: none.
struct Literal {
    std::array<unsigned char, 16> bytes{};
    unsigned bits = 0;
};

Literal readLiteral(std::string_view text) {
    if (text.size() >= 2 && text.front() == '[' && text.back() == ']')
        text = text.substr(1, text.size() - 2);
    const std::string terminated(text);
    Literal literal;
    if (::inet_pton(AF_INET, terminated.c_str(), literal.bytes.data()) == 1)
        literal.bits = 32;
    else if (::inet_pton(AF_INET6, terminated.c_str(), literal.bytes.data()) == 1)
        literal.bits = 128;
    return literal;
}

bool sharePrefix(const Literal &one, const Literal &other, unsigned bits) {
    if (one.bits != other.bits || bits > one.bits)
        return false;
    for (unsigned bit = 0; bit < bits; ++bit) {
        const unsigned mask = 0x80u >> (bit % 8);
        if ((one.bytes[bit / 8] & mask) != (other.bytes[bit / 8] & mask))
            return false;
    }
    return true;
}

bool isInNetwork(std::string_view entry, std::size_t slash, const Literal &host) {
    const std::string_view length = entry.substr(slash + 1);
    unsigned bits = 0;
    const char *end = length.data() + length.size();
    const auto [read, failure] = std::from_chars(length.data(), end, bits);
    return failure == std::errc() && read == end &&
           sharePrefix(readLiteral(entry.substr(0, slash)), host, bits);
}

std::string_view withoutDots(std::string_view name) {
    if (!name.empty() && name.front() == '.')
        name.remove_prefix(1);
    if (!name.empty() && name.back() == '.')
        name.remove_suffix(1);
    return name;
}

bool isInDomain(std::string_view host, std::string_view domain) {
    host = withoutDots(host);
    domain = withoutDots(domain);
    if (domain.empty() || host.size() < domain.size())
        return false;
    const std::string_view tail = host.substr(host.size() - domain.size());
    if (::strncasecmp(tail.data(), domain.data(), domain.size()) != 0)
        return false;
    return host.size() == domain.size() || host[host.size() - domain.size() - 1] == '.';
}

/// Cuts ":port" off an entry; false when it is another port than the address's.
bool cutPort(std::string_view &entry, const WebAddress &address) {
    const std::size_t colon = entry.rfind(':');
    if (colon == std::string_view::npos)
        return true;
    const bool bracketed = colon > 0 && entry[colon - 1] == ']';
    const bool bareIPv6 = !bracketed && entry.find(':') != colon;
    if (bareIPv6 || entry.back() == ']')
        return true;
    const bool samePort = entry.substr(colon + 1) == address.effectivePort();
    entry = entry.substr(0, colon);
    return samePort;
}

bool names(std::string_view entry, const WebAddress &address) {
    if (entry == "*")
        return true;
    const Literal host = readLiteral(address.host);
    if (const std::size_t slash = entry.find('/'); slash != std::string_view::npos)
        return host.bits > 0 && isInNetwork(entry, slash, host);
    if (!cutPort(entry, address))
        return false;
    return host.bits > 0 ? sharePrefix(readLiteral(entry), host, host.bits)
                         : isInDomain(address.host, entry);
}

} // namespace

bool isProxyException(std::string_view list, const WebAddress &address) {
    static constexpr std::string_view separators = ", \t";
    while (true) {
        const std::size_t begin = list.find_first_not_of(separators);
        if (begin == std::string_view::npos)
            return false;
        list.remove_prefix(begin);
        const std::size_t length = std::min(list.find_first_of(separators), list.size());
        if (names(list.substr(0, length), address))
            return true;
        list.remove_prefix(length);
    }
}

} // namespace vmr
