#pragma once

#include "platform/Mutex.h"
#include "support/Certificates.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
class Server;
}

namespace vmr::test {

/// A well-behaved HTTP or HTTPS server on a loopback port of its own. Answers 200 and "{}" unless a
/// handler says otherwise. Ends at once when its clients have closed their connections: destroy
/// them first, or keep it where one never does.
class LocalServer {
public:
    struct Request {
        std::string method;
        /// Path and query as received.
        std::string target;
        std::multimap<std::string, std::string> headers;
        std::string body;
        int clientPort = 0;
    };
    struct Answer {
        int status = 200;
        std::string body = "{}";
        std::multimap<std::string, std::string> headers;
    };
    /// Runs on the server's threads.
    using Handler = std::function<Answer(const Request &)>;

    explicit LocalServer(Handler handler = {});
    explicit LocalServer(const ServerCertificate &certificate, Handler handler = {});
    ~LocalServer();

    int port() const { return port_; }
    /// "http://127.0.0.1:port/", or https for a server with a certificate.
    std::string address(const std::string &host = "127.0.0.1") const;

    std::vector<Request> requests() const;
    /// Waits, generously, until so many requests have come; false when they have not.
    bool waitForRequests(std::size_t count) const;
    /// How many connections the requests came over.
    std::size_t connections() const;

private:
    void start(Handler handler);

    std::unique_ptr<httplib::Server> server_;
    std::string scheme_;
    int port_ = 0;
    std::thread thread_;
    mutable Mutex mutex_;
    mutable ConditionVariable arrived_;
    std::vector<Request> requests_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr::test
