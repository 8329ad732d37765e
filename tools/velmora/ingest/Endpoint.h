#pragma once

#include <string>

namespace httplib {
class Server;
}

namespace velmora::ingest {

/// Where a server listens.
struct Endpoint {
    std::string address = "127.0.0.1";
    /// 0: a free one.
    int port = 0;

    /// True when nobody but this machine reaches it.
    bool isLoopback() const;
    /// "http://127.0.0.1:8080/".
    std::string url(const std::string &scheme) const;
};

/// Whether a Host header names this machine by its loopback address. A web page whose name was made
/// to point here asks with that name.
bool namesLoopback(std::string host);

/// Reads ADDR:PORT or [ADDR]:PORT; throws a CommandError that names the option.
Endpoint endpointFrom(const std::string &text, const std::string &option);

/// Listens, and sets the port when it was left open. Throws std::runtime_error with a sentence that
/// names the option when it cannot.
void bindTo(Endpoint &endpoint, httplib::Server &server, const std::string &option);

} // namespace velmora::ingest
