#pragma once

#include "ingest/Answers.h"
#include "ingest/Connections.h"
#include "ingest/Endpoint.h"
#include "ingest/Request.h"

#include <functional>
#include <memory>

namespace httplib {
class ContentReader;
struct Request;
struct Response;
} // namespace httplib

namespace velmora::ingest {

struct ServerOptions {
    Endpoint endpoint;
    /// PEM files; both or none. With them the service speaks TLS.
    std::string certificate;
    std::string privateKey;
};

/// A request that has come, and what it is answered with.
struct Arrival {
    Request request;
    Answer answer;
    /// Why the request was refused before it was looked at; then it has no headers and no body.
    /// Empty for all others.
    std::string refusal;
};

/// Told of each request before its answer, and after the last byte of the answer has gone. On the
/// threads of the server, several at a time.
struct Reception {
    std::function<void(Arrival)> arrived;
    std::function<void()> answered;
};

/// The HTTP service. Serves on threads of its own from `serve` to the end of the process, and must
/// live as long.
class Server {
public:
    Server(ServerOptions options, Answers &answers, Reception reception);
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;
    ~Server();

    /// Returns the base address, or throws std::runtime_error with a sentence that says what
    /// hinders it.
    std::string listen();
    void serve();

private:
    void serveRequest(const httplib::Request &request, httplib::Response &response,
                      const httplib::ContentReader *reader);
    void refuse(const httplib::Request &request, httplib::Response &response, int status,
                const std::string &why);

    ServerOptions options_;
    Answers &answers_;
    Reception reception_;
    Connections connections_;
    std::unique_ptr<httplib::Server> server_;
};

} // namespace velmora::ingest
