#include "ingest/Server.h"

#include "ingest/Report.h"
#include "ingest/Wire.h"

#include <httplib.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <utility>

namespace velmora::ingest {
namespace {

/// Of a body that is cut off.
constexpr std::size_t promisedBytes = 1000;
constexpr std::size_t longestBody = std::size_t{32} << 20;
constexpr std::size_t longestTogether = 4 * longestBody;
constexpr int badRequest = 400;
constexpr int forbidden = 403;
constexpr int tooLarge = 413;
constexpr int tooLongHead = 431;
constexpr int noRoom = 503;
constexpr const char *tooLongBody = "the body is longer than 32 MiB";
constexpr const char *tooManyBodies =
    "the bodies of all requests that are under way are longer than 128 MiB";
/// The server calls the error handler for what it could not read, and for every answer of 400 and
/// up. It answers a request on the thread that read it.
thread_local bool isReported = false;
/// What follows on the connection would be taken for a request, and is none.
thread_local bool isLast = false;

/// What a body takes of the memory for all of them, as long as its request is served.
class Share {
public:
    Share() = default;
    Share(const Share &) = delete;
    Share &operator=(const Share &) = delete;
    ~Share() { all_ -= own_; }

    /// Whether there is room for the bytes.
    bool take(std::size_t bytes) {
        own_ += bytes;
        return (all_ += bytes) <= longestTogether;
    }

private:
    static inline std::atomic<std::size_t> all_{0};
    std::size_t own_ = 0;
};

using Enqueued = decltype(std::declval<httplib::TaskQueue &>().enqueue({}));

/// Has each connection watched, and serves as many at a time as there may be.
class Queue : public httplib::TaskQueue {
public:
    Queue(Connections &connections, int port) : connections_(connections), port_(port) {}

    Enqueued enqueue(std::function<void()> serve) override {
        return threads_.enqueue(connections_.watched(std::move(serve), port_));
    }
    void shutdown() override { threads_.shutdown(); }

private:
    Connections &connections_;
    int port_;
    httplib::ThreadPool threads_{Connections::most};
};

/// Puts an answer together.
void answerWith(const Answer &answer, httplib::Response &response) {
    response.status = answer.status;
    if (!answer.location.empty())
        response.set_header("Location", answer.location);
    if (answer.ending == Ending::cutOff)
        response.set_content_provider(
            promisedBytes, "application/json",
            [body = answer.body](std::size_t, std::size_t, httplib::DataSink &sink) {
                sink.write(body.data(), body.size());
                return false;
            });
    else if (!answer.body.empty())
        response.set_content(answer.body, "application/json");
}

std::unique_ptr<httplib::Server> makeServer(const ServerOptions &options) {
    if (options.certificate.empty())
        return std::make_unique<httplib::Server>();
    auto server = std::make_unique<httplib::SSLServer>(options.certificate.c_str(),
                                                       options.privateKey.c_str());
    if (!server->is_valid())
        throw std::runtime_error("cannot use the certificate \"" + options.certificate +
                                 "\" with the key \"" + options.privateKey +
                                 "\"; both must be PEM files that belong together");
    return server;
}

} // namespace

Server::Server(ServerOptions options, Answers &answers, Reception reception)
    : options_(std::move(options)), answers_(answers), reception_(std::move(reception)),
      connections_([this](const std::string &why) {
          Answer none;
          none.ending = Ending::none;
          reception_.arrived({{}, std::move(none), why});
          reception_.answered();
      }) {}

Server::~Server() = default;

void Server::refuse(const httplib::Request &request, httplib::Response &response, int status,
                    const std::string &why) {
    isReported = true;
    response.status = status;
    Answer answer;
    answer.status = status;
    reception_.arrived({{request.method, request.target, {}, {}}, std::move(answer), why});
}

void Server::serveRequest(const httplib::Request &request, httplib::Response &response,
                          const httplib::ContentReader *reader) {
    std::string body;
    Share share;
    bool hasRoom = true;
    const bool isWhole = reader == nullptr || (*reader)([&](const char *bytes, std::size_t count) {
                             hasRoom = share.take(count);
                             if (hasRoom)
                                 body.append(bytes, count);
                             return hasRoom && body.size() <= longestBody;
                         });
    connections_.requestCame();
    if (connections_.isEnded())
        return;
    if (!hasRoom) {
        isLast = true;
        return refuse(request, response, noRoom, tooManyBodies);
    }
    if (!isWhole) {
        const bool isTooLong = body.size() > longestBody || response.status == tooLarge;
        isLast = true;
        return refuse(request, response, isTooLong ? tooLarge : badRequest,
                      isTooLong ? tooLongBody : unreadableRequest);
    }
    if (options_.endpoint.isLoopback())
        if (const std::string sign = signOfAPage(request); !sign.empty())
            return refuse(request, response, forbidden, sign);

    const Answer answer = answers_.take();
    isReported = true;
    reception_.arrived({fromWire(request, std::move(body)), answer, {}});
    std::this_thread::sleep_for(answer.delay);
    if (answer.ending == Ending::none)
        connections_.end();
    connections_.answerGoes();
    answerWith(answer, response);
}

std::string Server::listen() {
    using Handled = httplib::Server::HandlerResponse;
    server_ = makeServer(options_);
    server_->new_task_queue = [this] { return new Queue(connections_, options_.endpoint.port); };
    server_->set_payload_max_length(longestBody);
    server_->set_pre_routing_handler([this](const auto &request, auto &response) {
        hideFormOfBody(request);
        const bool isShort = connections_.headCame();
        if (isShort && !hasBodyWithoutReader(request))
            return Handled::Unhandled;
        isLast = true;
        refuse(request, response, isShort ? badRequest : tooLongHead,
               isShort ? unreadableRequest : Connections::tooLongHeaders);
        return Handled::Handled;
    });
    const auto serve = [this](const auto &request, auto &response) {
        serveRequest(request, response, nullptr);
    };
    const auto serveBody = [this](const auto &request, auto &response, const auto &reader) {
        serveRequest(request, response, &reader);
    };
    server_->Get(".*", serve).Options(".*", serve).Delete(".*", serveBody);
    server_->Post(".*", serveBody).Put(".*", serveBody).Patch(".*", serveBody);
    server_->set_error_handler(
        httplib::Server::Handler([this](const auto &request, auto &response) {
            if (isReported || connections_.isEnded())
                return;
            isLast = true;
            refuse(request, response, response.status, unreadableRequest);
        }));
    server_->set_logger([this](const auto &, const auto &) {
        connections_.answerWent();
        if (std::exchange(isReported, false))
            reception_.answered();
        if (std::exchange(isLast, false))
            connections_.end();
    });

    bindTo(options_.endpoint, *server_, "--listen");
    return options_.endpoint.url(options_.certificate.empty() ? "http" : "https");
}

void Server::serve() {
    std::thread([this] { server_->listen_after_bind(); }).detach();
}

} // namespace velmora::ingest
