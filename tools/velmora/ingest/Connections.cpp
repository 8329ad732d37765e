#include "ingest/Connections.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <charconv>
#include <filesystem>
#include <string>
#include <system_error>

namespace velmora::ingest {
namespace {

/// `get` is getsockname or getpeername.
template <typename Get>
int portOf(Get get, int descriptor) {
    sockaddr_storage name{};
    socklen_t length = sizeof name;
    if (get(descriptor, reinterpret_cast<sockaddr *>(&name), &length) != 0)
        return -1;
    if (name.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in &>(name).sin_port);
    if (name.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6 &>(name).sin6_port);
    return -1;
}

} // namespace

void endConnection(int ownPort, int clientPort) {
    std::error_code failed;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd", failed)) {
        const std::string name = entry.path().filename();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        if (portOf(::getsockname, descriptor) == ownPort &&
            portOf(::getpeername, descriptor) == clientPort)
            shutdown(descriptor, SHUT_RDWR);
    }
}

} // namespace velmora::ingest
