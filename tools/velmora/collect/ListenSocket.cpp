#include "collect/ListenSocket.h"

#include <netdb.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace velmora::collect {
namespace {

/// Connections that wait while the loops are busy: after an outage many come at once.
constexpr int backlog = 4096;
constexpr int firstHandedOver = 3;

int boundTo(const addrinfo &address) {
    const int descriptor = socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    if (descriptor >= 0 && setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
        bind(descriptor, address.ai_addr, address.ai_addrlen) == 0 &&
        listen(descriptor, backlog) == 0)
        return descriptor;
    const int error = errno;
    if (descriptor >= 0)
        close(descriptor);
    errno = error;
    return -1;
}

} // namespace

int listenAt(ingest::Endpoint &endpoint, const std::string &option) {
    addrinfo hints{};
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    const int status = getaddrinfo(endpoint.address.c_str(), std::to_string(endpoint.port).c_str(),
                                   &hints, &found);
    const std::unique_ptr<addrinfo, void (*)(addrinfo *)> address(found, [](addrinfo *list) {
        if (list != nullptr)
            freeaddrinfo(list);
    });
    const int descriptor = status == 0 ? boundTo(*address) : -1;
    if (descriptor < 0)
        throw std::runtime_error(
            "cannot listen on " + endpoint.address + " port " + std::to_string(endpoint.port) +
            ": " + (status != 0 ? gai_strerror(status) : std::generic_category().message(errno)) +
            "; choose another with " + option + " ADDR:PORT");
    endpoint.port = endpointOf(descriptor).port;
    return descriptor;
}

std::optional<int> socketFromManager() {
    const char *process = std::getenv("LISTEN_PID");
    const char *count = std::getenv("LISTEN_FDS");
    if (process == nullptr || count == nullptr || process != std::to_string(getpid()))
        return std::nullopt;
    if (std::strcmp(count, "1") != 0)
        throw std::runtime_error("the service manager handed over " + std::string(count) +
                                 " sockets; give the socket unit one ListenStream=");
    return firstHandedOver;
}

ingest::Endpoint endpointOf(int descriptor) {
    sockaddr_storage name{};
    socklen_t length = sizeof name;
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    if (getsockname(descriptor, reinterpret_cast<sockaddr *>(&name), &length) != 0 ||
        getnameinfo(reinterpret_cast<const sockaddr *>(&name), length, host.data(), host.size(),
                    port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0)
        return {};
    return {host.data(), std::atoi(port.data())};
}

void tellManager(const std::string &state) {
    const char *path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    if (path == nullptr || std::strlen(path) >= sizeof address.sun_path)
        return;
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
    if (*path == '@')
        address.sun_path[0] = '\0';
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return;
    // A manager that does not listen is told by its own timeout.
    [[maybe_unused]] const auto sent = sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL,
                                              reinterpret_cast<const sockaddr *>(&address), length);
    close(descriptor);
}

} // namespace velmora::collect
