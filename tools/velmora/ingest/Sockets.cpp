#include "ingest/Sockets.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>

namespace velmora::ingest {

int portOfConnection(int descriptor) {
    int listens = 0;
    socklen_t length = sizeof listens;
    sockaddr_storage name{};
    socklen_t nameLength = sizeof name;
    if (getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &listens, &length) != 0 || listens != 0 ||
        getsockname(descriptor, reinterpret_cast<sockaddr *>(&name), &nameLength) != 0)
        return -1;
    if (name.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in &>(name).sin_port);
    return name.ss_family == AF_INET6
               ? ntohs(reinterpret_cast<const sockaddr_in6 &>(name).sin6_port)
               : -1;
}

ino_t inodeOf(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 ? status.st_ino : 0;
}

std::uint64_t bytesReadFrom(int descriptor) {
    tcp_info info{};
    socklen_t length = sizeof info;
    int waiting = 0;
    if (getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &length) != 0 ||
        ioctl(descriptor, FIONREAD, &waiting) != 0)
        return 0;
    return info.tcpi_bytes_received -
           std::min<std::uint64_t>(info.tcpi_bytes_received, static_cast<unsigned>(waiting));
}

} // namespace velmora::ingest
