#include "collect/HttpServer.h"

#include "collect/Peer.h"
#include "ingest/HeaderCheck.h"
#include "ingest/Report.h"

#include <unistd.h>

#include <charconv>
#include <new>
#include <stdexcept>

namespace velmora::collect {
namespace {

constexpr std::size_t longestBody = std::size_t{32} << 20;
/// Of a connection: the head and what is read at once.
constexpr std::size_t connectionMemory = std::size_t{16} << 10;
constexpr std::size_t firstReserve = std::size_t{64} << 10;
constexpr std::size_t usualHeaders = 16;
constexpr int tooLarge = 413;
constexpr const char *tooLongBody = "the body is longer than 32 MiB";
constexpr const char *slowSender = "the request did not come whole within 20 seconds";
constexpr const char *slowReader = "the answer was not read within 20 seconds";

Deadlines::Connection &contextOf(MHD_Connection *connection) {
    const MHD_ConnectionInfo *info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return *static_cast<Deadlines::Connection *>(info->socket_context);
}

MHD_Result addHeader(void *request, MHD_ValueKind /*kind*/, const char *name, const char *value) {
    static_cast<ingest::Request *>(request)->headers.emplace_back(name,
                                                                  value == nullptr ? "" : value);
    return MHD_YES;
}

/// Then a proxy in front may see another request's begin elsewhere.
bool isOfTwoLengths(const ingest::Request &request) {
    return ingest::countHeader(request, "Content-Length") +
               ingest::countHeader(request, "Transfer-Encoding") >
           1;
}

std::uint64_t promisedLength(const ingest::Request &request) {
    const auto text = ingest::onlyHeader(request, "Content-Length");
    std::uint64_t length = 0;
    if (text)
        std::from_chars(text->data(), text->data() + text->size(), length);
    return length;
}

MHD_Response *responseFor(const Exchange &exchange) {
    std::string body;
    if (exchange.status() != MHD_HTTP_OK)
        body = nlohmann::json{{"error", exchange.why()}}.dump(
                   -1, ' ', false, nlohmann::json::error_handler_t::replace) +
               "\n";
    MHD_Response *response =
        MHD_create_response_from_buffer(body.size(), body.data(), MHD_RESPMEM_MUST_COPY);
    if (response != nullptr && !body.empty())
        MHD_add_response_header(response, "Content-Type", "application/json");
    if (response != nullptr && exchange.status() == MHD_HTTP_METHOD_NOT_ALLOWED)
        MHD_add_response_header(response, "Allow", "POST");
    return response;
}

} // namespace

void Exchange::answer(int status, std::string why) {
    decide(status, std::move(why));
    MHD_resume_connection(connection_);
}

void Exchange::giveBack(std::vector<Exchange *> decided) {
    Exchange &first = *decided.front();
    first.givenBack_ = std::move(decided);
    MHD_resume_connection(first.connection_);
}

void Exchange::resumeOthers() {
    for (const Exchange *each : std::exchange(givenBack_, {}))
        if (each != this)
            MHD_resume_connection(each->connection_);
}

HttpServer::HttpServer(int listening, HttpOptions options, HttpService service, Metrics &metrics)
    : options_(std::move(options)), service_(std::move(service)), metrics_(metrics),
      deadlines_(options_.connections),
      plain200_(MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT),
                &MHD_destroy_response) {
    std::vector<MHD_OptionItem> items = {
        {MHD_OPTION_LISTEN_SOCKET, listening, nullptr},
        {MHD_OPTION_CONNECTION_LIMIT, static_cast<intptr_t>(options_.connections), nullptr},
        {MHD_OPTION_CONNECTION_MEMORY_LIMIT, static_cast<intptr_t>(connectionMemory), nullptr},
        {MHD_OPTION_URI_LOG_CALLBACK, reinterpret_cast<intptr_t>(&begun), this},
        {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<intptr_t>(&completed), this},
        {MHD_OPTION_NOTIFY_CONNECTION, reinterpret_cast<intptr_t>(&connectionChanged), this}};
    if (options_.loops > 1)
        items.push_back(
            {MHD_OPTION_THREAD_POOL_SIZE, static_cast<intptr_t>(options_.loops), nullptr});
    unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ITC | MHD_ALLOW_SUSPEND_RESUME;
    if (!options_.certificate.empty()) {
        flags |= MHD_USE_TLS;
        // The library only reads them.
        items.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0,
                         const_cast<char *>(options_.privateKey.c_str())}); // NOLINT
        items.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0,
                         const_cast<char *>(options_.certificate.c_str())}); // NOLINT
    }
    items.push_back({MHD_OPTION_END, 0, nullptr});
    daemon_ = MHD_start_daemon(flags, 0, nullptr, nullptr, &access, this, MHD_OPTION_ARRAY,
                               items.data(), MHD_OPTION_END);
    if (daemon_ == nullptr)
        throw std::runtime_error(
            options_.certificate.empty()
                ? "the HTTP server cannot start: there are too few descriptors or too little memory"
                : "the HTTP server cannot start with the files of --tls-cert and --tls-key; both "
                  "must be PEM files that belong together");
}

HttpServer::~HttpServer() {
    MHD_stop_daemon(daemon_);
}

void HttpServer::drain() {
    isDraining_ = true;
    if (const MHD_socket listening = MHD_quiesce_daemon(daemon_); listening != MHD_INVALID_SOCKET)
        close(listening);
}

void HttpServer::connectionChanged(void *self, MHD_Connection *connection, void **context,
                                   MHD_ConnectionNotificationCode code) {
    HttpServer &server = *static_cast<HttpServer *>(self);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
        const MHD_ConnectionInfo *info =
            MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        *context = server.deadlines_.opened(info->connect_fd, peerOf(connection));
        ++server.metrics_.connections;
    } else {
        server.deadlines_.closed(static_cast<Deadlines::Connection *>(*context));
        --server.metrics_.connections;
    }
}

void *HttpServer::begun(void *self, const char *target, MHD_Connection *connection) {
    HttpServer &server = *static_cast<HttpServer *>(self);
    try {
        auto exchange = std::make_unique<Exchange>();
        exchange->connection_ = connection;
        exchange->request.target = target;
        Deadlines::enter(contextOf(connection), Deadlines::Phase::request);
        ++server.metrics_.openRequests;
        return exchange.release();
    } catch (const std::bad_alloc &) {
        return nullptr; // `access` ends the connection, and the device keeps its events
    }
}

MHD_Result HttpServer::access(void *self, MHD_Connection * /*connection*/, const char * /*url*/,
                              const char *method, const char * /*version*/, const char *upload,
                              std::size_t *size, void **exchange) {
    if (*exchange == nullptr)
        return MHD_NO;
    try {
        return static_cast<HttpServer *>(self)->step(*static_cast<Exchange *>(*exchange), method,
                                                     upload, size);
    } catch (const std::exception &) {
        return MHD_NO;
    }
}

MHD_Result HttpServer::step(Exchange &exchange, const char *method, const char *upload,
                            std::size_t *size) {
    if (!exchange.hasHead_)
        return takeHead(exchange, method);
    if (*size > 0) {
        takeBody(exchange, upload, *size);
        *size = 0;
        return MHD_YES;
    }
    if (exchange.status() != 0) {
        exchange.resumeOthers();
        return queueAnswer(exchange);
    }
    Deadlines::enter(contextOf(exchange.connection_), Deadlines::Phase::work);
    MHD_suspend_connection(exchange.connection_);
    service_.requestCame(exchange);
    return MHD_YES;
}

MHD_Result HttpServer::takeHead(Exchange &exchange, const char *method) {
    exchange.hasHead_ = true;
    exchange.request.method = method;
    exchange.request.headers.reserve(usualHeaders);
    MHD_get_connection_values(exchange.connection_, MHD_HEADER_KIND, &addHeader, &exchange.request);
    exchange.peer = contextOf(exchange.connection_).peer;
    if (options_.trustsForwarded)
        exchange.peer = forwardedPeer(exchange.request, std::move(exchange.peer));
    if (isOfTwoLengths(exchange.request)) {
        exchange.decide(MHD_HTTP_BAD_REQUEST, "the request tells twice where its body ends");
        return queueAnswer(exchange);
    }
    const std::uint64_t length = promisedLength(exchange.request);
    if (length > longestBody) {
        exchange.decide(tooLarge, tooLongBody);
        return queueAnswer(exchange); // before the body: the connection ends with it
    }
    if (isDraining_) { // nobody is there any more to look into it
        exchange.decide(MHD_HTTP_SERVICE_UNAVAILABLE, "the collector is ending");
        return queueAnswer(exchange);
    }
    service_.headCame(exchange);
    if (exchange.status() == 0)
        exchange.request.body.reserve(std::min<std::size_t>(length, firstReserve));
    return MHD_YES;
}

void HttpServer::takeBody(Exchange &exchange, const char *bytes, std::size_t count) {
    metrics_.bytesReceived += count;
    if (exchange.status() != 0)
        return;
    exchange.held_ += count;
    metrics_.bytesHeld += count;
    if (exchange.held_ > longestBody)
        exchange.decide(tooLarge, tooLongBody);
    else if (metrics_.bytesHeld > options_.memory)
        exchange.decide(MHD_HTTP_SERVICE_UNAVAILABLE,
                        "the bodies of all requests need more than --memory");
    if (exchange.status() != 0)
        return release(exchange);
    exchange.request.body.append(bytes, count);
}

void HttpServer::release(Exchange &exchange) {
    std::string().swap(exchange.request.body);
    metrics_.bytesHeld -= std::exchange(exchange.held_, 0);
}

MHD_Result HttpServer::queueAnswer(Exchange &exchange) {
    MHD_Response *response = plain200_.get();
    std::unique_ptr<MHD_Response, void (*)(MHD_Response *)> own(nullptr, &MHD_destroy_response);
    if (exchange.status() != MHD_HTTP_OK || isDraining_) {
        own.reset(responseFor(exchange));
        response = own.get();
        if (isDraining_ && response != nullptr)
            MHD_add_response_header(response, "Connection", "close");
    }
    Deadlines::enter(contextOf(exchange.connection_), Deadlines::Phase::answer);
    const MHD_Result result = MHD_queue_response(
        exchange.connection_, static_cast<unsigned>(exchange.status()), response);
    exchange.isAnswered_ = result == MHD_YES;
    return result;
}

void HttpServer::completed(void *self, MHD_Connection *connection, void **exchange,
                           MHD_RequestTerminationCode /*code*/) {
    HttpServer &server = *static_cast<HttpServer *>(self);
    const std::unique_ptr<Exchange> over(static_cast<Exchange *>(*exchange));
    if (over == nullptr)
        return;
    *exchange = nullptr;
    over->resumeOthers();
    Deadlines::Connection &context = contextOf(connection);
    server.release(*over);
    if (context.phase == Deadlines::Phase::ended) {
        ++server.metrics_.tooSlow;
        over->decide(0, over->isAnswered_ ? slowReader : slowSender);
    } else if (over->isAnswered_) {
        Deadlines::enter(context, Deadlines::Phase::idle);
        server.metrics_.answered(over->status());
        server.metrics_.requestSeconds.add(std::chrono::steady_clock::now() - over->begin_);
    } else {
        ++server.metrics_.unreadable;
        over->decide(0, ingest::unreadableRequest);
    }
    if (over->status() != MHD_HTTP_OK) {
        try {
            server.service_.refused(*over);
        } catch (const std::exception &) { // a line less in the log
        }
    }
    --server.metrics_.openRequests;
}

} // namespace velmora::collect
