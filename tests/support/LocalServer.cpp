#include "support/LocalServer.h"

#include <httplib.h>

#include <chrono>
#include <set>

namespace vmr::test {

LocalServer::LocalServer(Handler handler)
    : server_(std::make_unique<httplib::Server>()), scheme_("http") {
    start(std::move(handler));
}

LocalServer::LocalServer(const ServerCertificate &certificate, Handler handler)
    : server_(std::make_unique<httplib::SSLServer>(certificate.certificateFile.c_str(),
                                                   certificate.keyFile.c_str())),
      scheme_("https") {
    start(std::move(handler));
}

LocalServer::~LocalServer() {
    server_->stop();
    thread_.join();
}

void LocalServer::start(Handler handler) {
    const auto answer = [this, handler = std::move(handler)](const httplib::Request &received,
                                                             httplib::Response &response) {
        Request request{received.method, received.target, {}, received.body, received.remote_port};
        request.headers.insert(received.headers.begin(), received.headers.end());
        const Answer given = handler ? handler(request) : Answer{};
        {
            const MutexLock lock(mutex_);
            requests_.push_back(std::move(request));
        }
        arrived_.notify_all();
        response.status = given.status;
        response.set_content(given.body, "application/json");
        for (const auto &[name, value] : given.headers)
            response.set_header(name, value);
    };
    server_->Get(".*", answer);
    server_->Post(".*", answer);
    server_->set_keep_alive_max_count(10'000);
    // A slow machine must not cost a connection that a test counts.
    server_->set_keep_alive_timeout(60);
    server_->set_read_timeout(60);
    server_->set_write_timeout(60);
    port_ = server_->bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    while (!server_->is_running())
        std::this_thread::yield();
}

std::string LocalServer::address(const std::string &host) const {
    return scheme_ + "://" + host + ":" + std::to_string(port_) + "/";
}

std::vector<LocalServer::Request> LocalServer::requests() const {
    const MutexLock lock(mutex_);
    return requests_;
}

bool LocalServer::waitForRequests(std::size_t count) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    const MutexLock lock(mutex_);
    while (requests_.size() < count) {
        if (arrived_.wait_until(mutex_, deadline) == std::cv_status::timeout)
            return false;
    }
    return true;
}

std::size_t LocalServer::connections() const {
    const MutexLock lock(mutex_);
    std::set<int> ports;
    for (const Request &request : requests_)
        ports.insert(request.clientPort);
    return ports.size();
}

} // namespace vmr::test
