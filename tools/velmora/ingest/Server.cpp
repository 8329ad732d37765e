#include "ingest/Server.h"

#include "ingest/Connections.h"

#include <httplib.h>

#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

namespace velmora::ingest {
namespace {

/// Of a body that is cut off.
constexpr std::size_t promisedBytes = 1000;
constexpr std::size_t longestBody = std::size_t{64} << 20;
/// Where a request's Content-Encoding waits while its body is read.
constexpr const char *keptEncoding = "\ncontent-encoding";

/// The server would unpack the body and so hide what came over the wire. It asks the header for
/// that, so the header is put aside until the body is there. The server's request is not a constant
/// object; only its handlers' type says so.
httplib::Server::HandlerResponse keepBodyPacked(const httplib::Request &request,
                                                httplib::Response & /*response*/) {
    httplib::Headers &headers = const_cast<httplib::Request &>(request).headers; // NOLINT
    const auto [from, to] = headers.equal_range("Content-Encoding");
    std::vector<std::string> values;
    for (auto header = from; header != to; ++header)
        values.push_back(header->second);
    headers.erase(from, to);
    for (std::string &value : values)
        headers.emplace(keptEncoding, std::move(value));
    return httplib::Server::HandlerResponse::Unhandled;
}

Request fromWire(const httplib::Request &request) {
    // What the server itself adds to the headers.
    static const std::set<std::string> own = {"REMOTE_ADDR", "REMOTE_PORT", "LOCAL_ADDR",
                                              "LOCAL_PORT"};
    Request result{request.method, request.target, {}, request.body};
    for (const auto &[name, value] : request.headers)
        if (own.count(name) == 0)
            result.headers.emplace_back(name == keptEncoding ? "Content-Encoding" : name, value);
    return result;
}

/// The server calls the error handler for what it could not read, and for every answer of 400 and
/// up. It answers a request on the thread that read it.
thread_local bool isReported = false;

/// Puts an answer together; one that is not to come at all ends the connection.
void answerWith(const Answer &answer, const httplib::Request &request,
                httplib::Response &response) {
    std::this_thread::sleep_for(answer.delay);
    if (answer.ending == Ending::none)
        endConnection(request.local_port, request.remote_port);
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
    : options_(std::move(options)), answers_(answers), reception_(std::move(reception)) {}

Server::~Server() = default;

std::string Server::listen() {
    server_ = makeServer(options_);
    server_->set_payload_max_length(longestBody);
    server_->set_pre_routing_handler(keepBodyPacked);
    const auto serve = [this](const httplib::Request &request, httplib::Response &response) {
        const Answer answer = answers_.take();
        reception_.arrived({fromWire(request), answer});
        isReported = answer.status >= 400;
        answerWith(answer, request, response);
    };
    server_->Get(".*", serve).Post(".*", serve).Put(".*", serve).Patch(".*", serve);
    server_->Delete(".*", serve).Options(".*", serve);
    const auto reportUnreadable = [this](const httplib::Request &request,
                                         const httplib::Response &response) {
        if (std::exchange(isReported, false))
            return;
        Answer answer;
        answer.status = response.status;
        reception_.arrived({{request.method, request.target, {}, {}}, std::move(answer), false});
    };
    server_->set_error_handler(httplib::Server::Handler(reportUnreadable));
    server_->set_logger([this](const auto &, const auto &) { reception_.answered(); });

    bindTo(options_.endpoint, *server_, "--listen");
    return options_.endpoint.url(options_.certificate.empty() ? "http" : "https");
}

void Server::serve() {
    std::thread([this] { server_->listen_after_bind(); }).detach();
}

} // namespace velmora::ingest
