#include "collect/StatusServer.h"

#include <stdexcept>

namespace velmora::collect {
namespace {

constexpr unsigned mostConnections = 100;
constexpr unsigned secondsWithoutData = 20;

} // namespace

StatusServer::StatusServer(int listening, const Metrics &metrics, std::function<bool()> isReady)
    : metrics_(metrics), isReady_(std::move(isReady)),
      daemon_(MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD, 0, nullptr, nullptr, &access, this,
                               MHD_OPTION_LISTEN_SOCKET, listening, MHD_OPTION_CONNECTION_LIMIT,
                               mostConnections, MHD_OPTION_CONNECTION_TIMEOUT, secondsWithoutData,
                               MHD_OPTION_END)) {
    if (daemon_ == nullptr)
        throw std::runtime_error("the server of --status cannot start: there are too few "
                                 "descriptors or too little memory");
}

StatusServer::~StatusServer() {
    MHD_stop_daemon(daemon_);
}

MHD_Result StatusServer::access(void *self, MHD_Connection *connection, const char *url,
                                const char *method, const char * /*version*/,
                                const char * /*upload*/, std::size_t * /*size*/,
                                void ** /*context*/) {
    if (std::string_view(method) != MHD_HTTP_METHOD_GET)
        return MHD_NO;
    return static_cast<StatusServer *>(self)->answer(connection, url);
}

MHD_Result StatusServer::answer(MHD_Connection *connection, std::string_view path) const {
    unsigned status = MHD_HTTP_OK;
    std::string body = "ok\n";
    if (path == "/metrics") {
        body = metrics_.text();
    } else if (path == "/readyz" && !isReady_()) {
        status = MHD_HTTP_SERVICE_UNAVAILABLE;
        body = "not ready\n";
    } else if (path != "/healthz" && path != "/readyz") {
        status = MHD_HTTP_NOT_FOUND;
        body = "there are /healthz, /readyz and /metrics\n";
    }
    MHD_Response *response =
        MHD_create_response_from_buffer(body.size(), body.data(), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr)
        return MHD_NO;
    MHD_add_response_header(response, "Content-Type",
                            path == "/metrics" ? "text/plain; version=0.0.4" : "text/plain");
    const MHD_Result result = MHD_queue_response(connection, status, response);
    MHD_destroy_response(response);
    return result;
}

} // namespace velmora::collect
