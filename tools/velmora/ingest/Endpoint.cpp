#include "ingest/Endpoint.h"

#include "CommandError.h"

#include <httplib.h>

#include <cerrno>
#include <charconv>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace velmora::ingest {

bool Endpoint::isLoopback() const {
    in_addr four{};
    if (inet_pton(AF_INET, address.c_str(), &four) == 1)
        return (ntohl(four.s_addr) >> 24) == 127;
    in6_addr six{};
    if (inet_pton(AF_INET6, address.c_str(), &six) == 1)
        return IN6_IS_ADDR_LOOPBACK(&six) || (IN6_IS_ADDR_V4MAPPED(&six) && six.s6_addr[12] == 127);
    return address == "localhost";
}

std::string Endpoint::url(const std::string &scheme) const {
    const bool isIPv6 = address.find(':') != std::string::npos;
    return scheme + "://" + (isIPv6 ? "[" + address + "]" : address) + ":" + std::to_string(port) +
           "/";
}

bool namesLoopback(std::string host) {
    if (const std::size_t colon = host.rfind(':');
        colon != std::string::npos && host.find(']', colon) == std::string::npos)
        host.resize(colon);
    if (host.starts_with('[') && host.ends_with(']'))
        host = host.substr(1, host.size() - 2);
    return Endpoint{host, 0}.isLoopback();
}

Endpoint endpointFrom(const std::string &text, const std::string &option) {
    const CommandError refusal(option + ": \"" + text +
                               "\" is not ADDR:PORT, for instance 127.0.0.1:8080 or [::1]:0");
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0)
        throw refusal;
    Endpoint endpoint;
    endpoint.address = text.substr(0, colon);
    if (endpoint.address.starts_with('[') && endpoint.address.ends_with(']'))
        endpoint.address = endpoint.address.substr(1, endpoint.address.size() - 2);
    else if (endpoint.address.find(':') != std::string::npos)
        throw refusal;
    const char *end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data() + colon + 1, end, endpoint.port);
    if (parsed.ec != std::errc() || parsed.ptr != end || endpoint.port < 0 || endpoint.port > 65535)
        throw refusal;
    return endpoint;
}

void bindTo(Endpoint &endpoint, httplib::Server &server, const std::string &option) {
    // Two services on one port would share its requests; this one wants to see all of them.
    const auto listening = std::make_shared<socket_t>(-1);
    server.set_socket_options([listening](socket_t socket) {
        const int on = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        *listening = socket;
    });
    server.set_tcp_nodelay(true);
    errno = 0;
    const int port = endpoint.port == 0 ? server.bind_to_any_port(endpoint.address)
                     : server.bind_to_port(endpoint.address, endpoint.port) ? endpoint.port
                                                                            : -1;
    if (port < 0)
        throw std::runtime_error("cannot listen on " + endpoint.address + " port " +
                                 std::to_string(endpoint.port) + ": " +
                                 (errno == 0 ? "the address is not known here"
                                             : std::generic_category().message(errno)) +
                                 "; choose another with " + option + " ADDR:PORT");
    endpoint.port = port;
    listen(*listening, SOMAXCONN); // the library lets five wait, and others try again later
}

} // namespace velmora::ingest
