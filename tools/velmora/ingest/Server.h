#pragma once

#include "ingest/Answers.h"
#include "ingest/Request.h"

#include <memory>
#include <thread>

namespace httplib {
class Server;
}

namespace velmora::ingest {

struct ServerOptions {
    std::string address = "127.0.0.1";
    /// 0: a free one.
    int port = 0;
    Credentials credentials;
    /// PEM files; both or none. With them the service speaks TLS.
    std::string certificate;
    std::string privateKey;
};

/// The HTTP service. Serves on threads of its own from `start` to the end of the process; writes a
/// line about each request before it answers it.
class Server {
public:
    Server(ServerOptions options, const Answers &answers);
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;
    ~Server();

    /// Returns the base address, or throws std::runtime_error with a sentence that says what
    /// hinders it.
    std::string start();

private:
    ServerOptions options_;
    const Answers &answers_;
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
};

} // namespace velmora::ingest
