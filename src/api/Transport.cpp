#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/Refusal.h"
#include "platform/linux/http/HostHTTPSession.h"
#include "platform/linux/http/URLErrors.h"

#include <algorithm>

namespace vmr::api {
namespace {

void start(const void *context, std::uint64_t id, const HTTPRequest &request) {
    const auto &transport = *static_cast<const velmora_transport *>(context);
    std::vector<velmora_http_header> headers;
    for (const auto &[name, value] : request.headers)
        headers.push_back({name.c_str(), value.c_str()});
    const std::string_view body = request.body.bytes();
    velmora_http_request told{};
    told.size = sizeof told;
    told.id = id;
    told.method = request.method ? request.method->c_str() : "";
    told.url = request.url.c_str();
    told.headers = headers.data();
    told.header_count = headers.size();
    told.body = body.data();
    told.body_length = body.size();
    transport.start(&told, transport.context);
}

void cancel(const void *context, std::uint64_t id) {
    const auto &transport = *static_cast<const velmora_transport *>(context);
    transport.cancel(id, transport.context);
}

HostTransport hostTransport(const velmora_transport &given) {
    HostTransport made{.start = start};
    if (given.cancel != nullptr)
        made.cancel = cancel;
    if (given.timeout > 0)
        made.timeout = given.timeout;
    return made;
}

void end(std::uint64_t id, HTTPOutcome &&outcome) {
    HostHTTPSession *const session = Host::shared().platform().hostSession;
    if (session == nullptr || !session->answer(id, std::move(outcome)))
        refuse(VELMORA_NOT_FOUND,
               "no request %lu waits for an answer: it was answered before, or given up", id);
}

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" {

velmora_result velmora_set_transport(const velmora_transport *transport) {
    return call([&] {
        requirePointer(transport, "transport");
        if (transport->size != sizeof *transport)
            refuse(VELMORA_INVALID_ARGUMENT,
                   "the size of velmora_transport is %lu, this library knows %lu: set it to "
                   "sizeof(velmora_transport), and use the library that the host was built against",
                   transport->size, sizeof *transport);
        requirePointer(reinterpret_cast<const void *>(transport->start), "start");
        requireFinite(transport->timeout, "timeout");
        Host::shared().setTransport(*transport, hostTransport(*transport));
    });
}

velmora_result velmora_transport_answer(uint64_t id, int status, const void *body, size_t length) {
    return call([&] {
        if (status < 200 || status > 599)
            refuse(VELMORA_INVALID_ARGUMENT,
                   "\"status\" is %ld: give the final HTTP status, 200 to 599",
                   static_cast<long>(status));
        HTTPOutcome outcome;
        outcome.statusCode = status;
        // What is too long is not copied whole: the exchange ends with that.
        const std::size_t most = std::min<std::size_t>(length, VELMORA_MAX_VALUE_LENGTH);
        outcome.body = Data(std::string(requireBytes(body, most, "body")));
        end(id, std::move(outcome));
    });
}

velmora_result velmora_transport_fail(uint64_t id, const char *reason) {
    return call([&] {
        HTTPOutcome outcome;
        const auto line = optionalLine(reason, VELMORA_MAX_OPTION_LENGTH, "reason");
        requirePointer(reason, "reason");
        outcome.error = makeURLError(URLErrorCode::unknown, *line);
        end(id, std::move(outcome));
    });
}

} // extern "C"
