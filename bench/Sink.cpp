#include "Sink.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace bench {

double now() {
    const std::chrono::duration<double, std::milli> since =
        std::chrono::steady_clock::now().time_since_epoch();
    return since.count();
}

Sink::Sink() {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof place;
    if (bind(listener_, reinterpret_cast<sockaddr *>(&place), length) != 0 ||
        listen(listener_, 8) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr *>(&place), &length) != 0)
        std::abort();
    port_ = ntohs(place.sin_port);
    std::thread([this] { serve(); }).detach();
}

std::string Sink::address() const {
    return "http://127.0.0.1:" + std::to_string(port_) + "/";
}

void Sink::serve() {
    for (;;) {
        const int connection = accept(listener_, nullptr, nullptr);
        if (connection >= 0)
            std::thread([this, connection] { serveConnection(connection); }).detach();
    }
}

void Sink::serveConnection(int connection) {
    std::string received;
    char buffer[65536];
    for (;;) {
        const ssize_t size = read(connection, buffer, sizeof buffer);
        if (size <= 0)
            break;
        received.append(buffer, static_cast<std::size_t>(size));
        const auto header = received.find("\r\n\r\n");
        if (header == std::string::npos)
            continue;
        const auto length = received.find("Content-Length: ");
        const std::size_t body = std::strtoul(received.c_str() + length + 16, nullptr, 10);
        if (received.size() < header + 4 + body)
            continue;
        lastBodyAt_ = now();
        lastBodySize_ = body;
        received.clear();
        static constexpr char answer[] = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
        if (write(connection, answer, sizeof answer - 1) < 0)
            break;
    }
    close(connection);
}

} // namespace bench
