#include "support/RawServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>

namespace vmr::test {
namespace {

std::size_t contentLength(std::string_view head) {
    static constexpr std::string_view name = "\r\ncontent-length:";
    for (std::size_t i = 0; i + name.size() < head.size(); ++i) {
        if (::strncasecmp(head.data() + i, name.data(), name.size()) == 0)
            return std::stoul(std::string(head.substr(i + name.size(), 20)));
    }
    return 0;
}

} // namespace

std::string RawServer::Connection::readRequest() {
    std::string request;
    std::array<char, 4096> chunk;
    std::size_t wanted = std::string::npos;
    while (request.size() < wanted) {
        const ssize_t count = ::recv(descriptor_, chunk.data(), chunk.size(), 0);
        if (count <= 0)
            return {};
        request.append(chunk.data(), static_cast<std::size_t>(count));
        if (const std::size_t end = request.find("\r\n\r\n");
            wanted == std::string::npos && end != std::string::npos)
            wanted = end + 4 + contentLength(std::string_view(request).substr(0, end));
    }
    return request;
}

bool RawServer::Connection::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void RawServer::Connection::writeLast(std::string_view bytes) {
    ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_MORE);
    ::shutdown(descriptor_, SHUT_WR);
}

void RawServer::Connection::waitForClose() {
    std::array<char, 4096> chunk;
    while (::recv(descriptor_, chunk.data(), chunk.size(), 0) > 0) {
    }
}

RawServer::RawServer(Behaviour behaviour) : behaviour_(std::move(behaviour)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(listener_, reinterpret_cast<sockaddr *>(&address), size) != 0 ||
        ::listen(listener_, 64) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        throw std::runtime_error("no loopback port");
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptAll(); });
}

RawServer::~RawServer() {
    std::vector<std::thread> threads;
    {
        const MutexLock lock(mutex_);
        ending_ = true;
        for (const int descriptor : descriptors_)
            ::shutdown(descriptor, SHUT_RDWR);
    }
    ::shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    {
        const MutexLock lock(mutex_);
        threads.swap(threads_);
    }
    for (std::thread &thread : threads)
        thread.join();
    const MutexLock lock(mutex_);
    for (const int descriptor : descriptors_)
        ::close(descriptor);
    ::close(listener_);
}

void RawServer::acceptAll() {
    while (true) {
        const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0)
            return;
        const MutexLock lock(mutex_);
        descriptors_.push_back(descriptor);
        if (ending_)
            return;
        threads_.emplace_back([this, descriptor] {
            Connection connection(descriptor);
            behaviour_(connection);
            // Closed for good by the destructor, so that its number cannot be reused meanwhile.
            ::shutdown(descriptor, SHUT_RDWR);
        });
        connected_.notify_all();
    }
}

std::string RawServer::address(const std::string &scheme) const {
    return scheme + "://127.0.0.1:" + std::to_string(port_) + "/";
}

bool RawServer::waitForConnections(std::size_t count) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    const MutexLock lock(mutex_);
    while (descriptors_.size() < count) {
        if (connected_.wait_until(mutex_, deadline) == std::cv_status::timeout)
            return false;
    }
    return true;
}

std::size_t RawServer::connections() const {
    const MutexLock lock(mutex_);
    return descriptors_.size();
}

void silence(RawServer::Connection &connection) {
    connection.waitForClose();
}

RawServer::Behaviour answerAlways(std::string bytes) {
    return [bytes = std::move(bytes)](RawServer::Connection &connection) {
        while (!connection.readRequest().empty()) {
            if (!connection.write(bytes))
                return;
        }
    };
}

std::string httpResponse(std::string_view status, std::string_view body, std::string_view headers) {
    return "HTTP/1.1 " + std::string(status) + "\r\n" + std::string(headers) +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

} // namespace vmr::test
