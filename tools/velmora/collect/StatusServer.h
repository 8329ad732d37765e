#pragma once

#include "collect/Metrics.h"

#include <microhttpd.h>

#include <functional>

namespace velmora::collect {

/// /healthz, /readyz and /metrics, apart from what strangers reach.
class StatusServer {
public:
    /// Takes over the listening socket. `isReady` is asked on the server's thread.
    StatusServer(int listening, const Metrics &metrics, std::function<bool()> isReady);
    StatusServer(const StatusServer &) = delete;
    StatusServer &operator=(const StatusServer &) = delete;
    ~StatusServer();

private:
    static MHD_Result access(void *self, MHD_Connection *connection, const char *url,
                             const char *method, const char *version, const char *upload,
                             std::size_t *size, void **context);
    MHD_Result answer(MHD_Connection *connection, std::string_view path) const;

    const Metrics &metrics_;
    const std::function<bool()> isReady_;
    MHD_Daemon *daemon_;
};

} // namespace velmora::collect
