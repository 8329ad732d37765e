#include "collect/Peer.h"

#include <microhttpd.h>
#include <netdb.h>
#include <strings.h>

#include <algorithm>
#include <array>

namespace velmora::collect {

std::string peerOf(MHD_Connection *connection) {
    const MHD_ConnectionInfo *info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    std::array<char, NI_MAXHOST> host{};
    const sockaddr *address = info->client_addr;
    const socklen_t length =
        address->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    return getnameinfo(address, length, host.data(), host.size(), nullptr, 0, NI_NUMERICHOST) == 0
               ? host.data()
               : "";
}

std::string forwardedPeer(const ingest::Request &request, std::string peer) {
    const auto last =
        std::find_if(request.headers.rbegin(), request.headers.rend(), [](const auto &header) {
            return strcasecmp(header.first.c_str(), "X-Forwarded-For") == 0;
        });
    if (last == request.headers.rend())
        return peer;
    const std::string &chain = last->second;
    const std::size_t begin = chain.find_last_of(", ") + 1; // 0 when there is neither
    return begin == chain.size() ? peer : chain.substr(begin);
}

} // namespace velmora::collect
