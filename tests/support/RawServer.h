#pragma once

#include "platform/Mutex.h"

#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vmr::test {

/// A loopback server that says byte for byte what a test wants, above all what no server should.
class RawServer {
public:
    /// One accepted connection, used by the behaviour on a thread of its own.
    class Connection {
    public:
        explicit Connection(int descriptor) : descriptor_(descriptor) {}
        /// Reads a request: its head, and as many bytes of body as its Content-Length says. Empty
        /// when the client closed.
        std::string readRequest();
        /// False when the client does not take it any more.
        bool write(std::string_view bytes);
        /// Closes in the same segment, so that who has read the bytes can know of the close.
        void writeLast(std::string_view bytes);
        /// Returns when the client, or the end of the server, closes the connection.
        void waitForClose();

    private:
        int descriptor_;
    };
    using Behaviour = std::function<void(Connection &)>;

    /// The connection is closed when `behaviour` returns.
    explicit RawServer(Behaviour behaviour);
    ~RawServer();

    std::string address(const std::string &scheme = "http") const;
    int port() const { return port_; }
    /// Waits, generously, until so many connections were made; false when they were not.
    bool waitForConnections(std::size_t count) const;
    std::size_t connections() const;

private:
    void acceptAll();

    const Behaviour behaviour_;
    int listener_ = -1;
    int port_ = 0;
    std::thread acceptor_;
    mutable Mutex mutex_;
    mutable ConditionVariable connected_;
    bool ending_ VMR_GUARDED_BY(mutex_) = false;
    std::vector<int> descriptors_ VMR_GUARDED_BY(mutex_);
    std::vector<std::thread> threads_ VMR_GUARDED_BY(mutex_);
};

/// Says nothing.
void silence(RawServer::Connection &connection);
/// Answers every request on a connection with the same bytes.
RawServer::Behaviour answerAlways(std::string bytes);
/// A whole HTTP/1.1 response.
std::string httpResponse(std::string_view status, std::string_view body,
                         std::string_view headers = {});

} // namespace vmr::test
