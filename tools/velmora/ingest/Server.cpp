#include "ingest/Server.h"

#include "JsonLine.h"
#include "ingest/Report.h"

#include <httplib.h>

#include <cerrno>
#include <set>
#include <system_error>
#include <utility>

namespace velmora::ingest {
namespace {

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

void reportUnreadable(const httplib::Request &request, httplib::Response &response) {
    if (std::exchange(isReported, false))
        return;
    const nlohmann::ordered_json problem =
        "the request broke off, or is not the HTTP that a client of the service speaks";
    writeLine({{"method", request.method},
               {"path", request.target},
               {"sound", false},
               {"problems", nlohmann::ordered_json::array({problem})},
               {"answer", response.status}});
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

Server::Server(ServerOptions options, const Answers &answers)
    : options_(std::move(options)), answers_(answers) {}

Server::~Server() {
    if (thread_.joinable())
        thread_.detach();
}

std::string Server::start() {
    server_ = makeServer(options_);
    server_->set_payload_max_length(longestBody);
    // Two services on one port would share its requests; this one wants to see all of them.
    server_->set_socket_options([](socket_t socket) {
        const int on = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    server_->set_tcp_nodelay(true);
    server_->set_pre_routing_handler(keepBodyPacked);
    server_->set_error_handler(httplib::Server::Handler(reportUnreadable));
    const auto serve = [this](const httplib::Request &request, httplib::Response &response) {
        const Answer answer = answers_.current();
        nlohmann::ordered_json line = report(fromWire(request), options_.credentials);
        line["answer"] = answer.status;
        writeLine(line);
        std::this_thread::sleep_for(answer.delay);
        response.status = answer.status;
        isReported = answer.status >= 400;
        if (!answer.body.empty())
            response.set_content(answer.body, "application/json");
    };
    server_->Get(".*", serve).Post(".*", serve).Put(".*", serve).Patch(".*", serve);
    server_->Delete(".*", serve).Options(".*", serve);

    errno = 0;
    const int port = options_.port == 0 ? server_->bind_to_any_port(options_.address)
                     : server_->bind_to_port(options_.address, options_.port) ? options_.port
                                                                              : -1;
    if (port < 0)
        throw std::runtime_error("cannot listen on " + options_.address + " port " +
                                 std::to_string(options_.port) + ": " +
                                 (errno == 0 ? "the address is not known here"
                                             : std::generic_category().message(errno)) +
                                 "; choose another with --listen ADDR:PORT");
    thread_ = std::thread([this] { server_->listen_after_bind(); });

    const bool isIPv6 = options_.address.find(':') != std::string::npos;
    return std::string(options_.certificate.empty() ? "http" : "https") + "://" +
           (isIPv6 ? "[" + options_.address + "]" : options_.address) + ":" + std::to_string(port) +
           "/";
}

} // namespace velmora::ingest
