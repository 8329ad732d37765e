#include "BareServer.h"

#include <microhttpd.h>

#include <csignal>
#include <cstdio>

namespace bench {
namespace {

MHD_Result answer(void *response, MHD_Connection *connection, const char * /*url*/,
                  const char * /*method*/, const char * /*version*/, const char * /*upload*/,
                  std::size_t *size, void **hasHead) {
    if (*hasHead == nullptr) {
        *hasHead = response;
        return MHD_YES;
    }
    if (*size > 0) {
        *size = 0;
        return MHD_YES;
    }
    return MHD_queue_response(connection, MHD_HTTP_OK, static_cast<MHD_Response *>(response));
}

} // namespace

int serveBare() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    MHD_Response *response = MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT);
    MHD_Daemon *daemon = MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD, 0, nullptr, nullptr,
                                          &answer, response, MHD_OPTION_END);
    if (daemon == nullptr)
        return 1;
    std::printf("127.0.0.1:%d\n",
                static_cast<int>(MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT)->port));
    std::fflush(stdout);
    int signal = 0;
    sigwait(&signals, &signal);
    MHD_stop_daemon(daemon);
    MHD_destroy_response(response);
    return 0;
}

} // namespace bench
