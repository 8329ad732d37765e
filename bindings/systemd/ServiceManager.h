#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

/// Tells the service manager what becomes of this service: the datagrams of sd_notify(3), without
/// its library. Where no service manager asked to be told, it does nothing.
class ServiceManager {
public:
    ServiceManager() {
        const char *name = std::getenv("NOTIFY_SOCKET");
        const std::size_t length = name == nullptr ? 0 : std::strlen(name);
        if (length == 0 || length >= sizeof address_.sun_path)
            return;
        address_.sun_family = AF_UNIX;
        std::memcpy(address_.sun_path, name, length);
        if (name[0] == '@') // a socket without a file
            address_.sun_path[0] = '\0';
        size_ = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
        socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    }
    ServiceManager(const ServiceManager &) = delete;
    ServiceManager &operator=(const ServiceManager &) = delete;
    ~ServiceManager() {
        if (socket_ >= 0)
            close(socket_);
    }

    void isReady() const { send("READY=1\nSTATUS=Watching the consent strings"); }
    /// Waits for nobody: a service manager that is slow to read gets the next one.
    void isAlive() const { send("WATCHDOG=1", MSG_DONTWAIT); }
    void isStopping() const { send("STOPPING=1\nSTATUS=Posting what is due"); }

    /// The microseconds between two calls of `isAlive`: half of what the unit allows. Nothing
    /// when it has no watchdog.
    static std::optional<long> watchdogInterval() {
        const char *process = std::getenv("WATCHDOG_PID");
        const char *allowed = std::getenv("WATCHDOG_USEC");
        if (allowed == nullptr || (process != nullptr && std::to_string(getpid()) != process))
            return std::nullopt;
        const long microseconds = std::strtol(allowed, nullptr, 10) / 2;
        return microseconds > 0 ? std::optional<long>(microseconds) : std::nullopt;
    }

private:
    void send(std::string_view state, int flags = 0) const {
        if (socket_ >= 0)
            sendto(socket_, state.data(), state.size(), MSG_NOSIGNAL | flags,
                   reinterpret_cast<const sockaddr *>(&address_), size_);
    }

    sockaddr_un address_{};
    socklen_t size_ = 0;
    int socket_ = -1;
};
