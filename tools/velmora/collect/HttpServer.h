#pragma once

#include "collect/Deadlines.h"
#include "collect/Exchange.h"
#include "collect/Metrics.h"

#include <microhttpd.h>

#include <functional>
#include <memory>

namespace velmora::collect {

/// What the server asks, on its loops' threads; neither may wait for anything.
struct HttpService {
    /// The request's head is there: may decide an answer; the body is then thrown away as it comes.
    std::function<void(Exchange &)> headCame;
    /// The request is whole and undecided: takes it over.
    std::function<void(Exchange &)> requestCame;
    /// An answer other than 200 went out, or a request ended without any (status 0).
    std::function<void(const Exchange &)> refused;
};

struct HttpOptions {
    std::size_t connections = 20'000;
    unsigned loops = 1;
    /// Of bodies, all requests together.
    std::size_t memory = std::size_t{256} << 20;
    /// PEM texts; with them the server speaks TLS.
    std::string certificate;
    std::string privateKey;
    /// The peer is what the proxy in front says it is.
    bool trustsForwarded = false;
};

/// The receiving side of the two data-stream paths: bounded in connections, times and memory.
class HttpServer {
public:
    /// Serves the connections of a listening socket, which it takes over. Throws
    /// std::runtime_error.
    HttpServer(int listening, HttpOptions options, HttpService service, Metrics &metrics);
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;
    /// Nothing may be under way.
    ~HttpServer();

    /// Takes no more connections; each one ends with its next answer.
    void drain();

private:
    static void *begun(void *self, const char *target, MHD_Connection *connection);
    static MHD_Result access(void *self, MHD_Connection *connection, const char *url,
                             const char *method, const char *version, const char *upload,
                             std::size_t *size, void **exchange);
    static void completed(void *self, MHD_Connection *connection, void **exchange,
                          MHD_RequestTerminationCode code);
    static void connectionChanged(void *self, MHD_Connection *connection, void **context,
                                  MHD_ConnectionNotificationCode code);

    MHD_Result step(Exchange &exchange, const char *method, const char *upload, std::size_t *size);
    MHD_Result takeHead(Exchange &exchange, const char *method);
    void takeBody(Exchange &exchange, const char *bytes, std::size_t count);
    MHD_Result queueAnswer(Exchange &exchange);
    void release(Exchange &exchange);

    const HttpOptions options_;
    const HttpService service_;
    Metrics &metrics_;
    std::atomic<bool> isDraining_{false};
    Deadlines deadlines_;
    const std::unique_ptr<MHD_Response, void (*)(MHD_Response *)> plain200_;
    MHD_Daemon *daemon_ = nullptr;
};

} // namespace velmora::collect
