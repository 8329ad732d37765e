/**
 * \file
 * \brief A transport of the host's own, in place of libcurl.
 * Included by <VelmoraKit/velmora.h>, whose rules hold here.
 */
#ifndef VELMORAKIT_VELMORA_TRANSPORT_H
#define VELMORAKIT_VELMORA_TRANSPORT_H

#include <VelmoraKit/velmora_results.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The host sends the requests with the HTTP stack that it has. What a request holds, what an answer
 * means, one request at a time (one more while one from before another start call or an erasure is
 * under way), the time limit, and that each ends exactly once, stay the SDK's. It
 * has checked the address (https, http for loopback addresses alone) and the headers. TLS, the
 * trusted authorities and a pinned key are the transport's: the options about them are not used.
 * While the environment names a proxy, nothing is sent without velmora_options::allow_proxy.
 */

typedef struct velmora_http_header {
    const char *name;
    const char *value;
} velmora_http_header;

/** A request; all of it is valid until velmora_transport::start returns. */
typedef struct velmora_http_request {
    /** sizeof(velmora_http_request) as the library was compiled. */
    size_t size;
    /** Names the request from here on; never used twice in a process. */
    uint64_t id;
    const char *method;
    const char *url;
    /** To be sent as they are, and no others but those that HTTP needs: Host, Content-Length. */
    const velmora_http_header *headers;
    size_t header_count;
    /** To be sent as it is; it is compressed already. */
    const void *body;
    size_t body_length;
} velmora_http_request;

typedef struct velmora_transport {
    /** sizeof(velmora_transport) as the host was compiled. */
    size_t size;
    /**
     * Starts a request and returns at once, on the main run loop's thread. Redirects are not
     * followed, no cookie is kept, nothing is sent twice. It may answer before it returns.
     */
    void (*start)(const velmora_http_request *request, void *context);
    /**
     * The SDK has given up a request that it had started, and takes no answer any more; on the main
     * run loop's thread. NULL is allowed.
     */
    void (*cancel)(uint64_t id, void *context);
    /** Lives as long as the process. */
    void *context;
    /** Seconds after which a request that has no answer is given up; 0 or less: 60. */
    double timeout;
} velmora_transport;

/**
 * Has all requests sent by the host. Together with velmora_configure() and velmora_set_log_sink(),
 * in any order, before every other use of the SDK; later it is #VELMORA_INVALID_STATE and has no
 * effect. Called again before then, the last one counts.
 */
VELMORA_API velmora_result velmora_set_transport(const velmora_transport *transport);

/**
 * Hands the service's answer to a request to the SDK, from any thread: its final status, 200 to
 * 599, and its body, without a content encoding, which is copied. `body` may be NULL when `length`
 * is 0; one of more than 1 MiB counts as a failure. #VELMORA_NOT_FOUND, without any effect, when
 * the request was answered before or given up.
 */
VELMORA_API velmora_result velmora_transport_answer(uint64_t id, int status, const void *body,
                                                    size_t length);

/** The same where no answer came; `reason`, one line, says why. */
VELMORA_API velmora_result velmora_transport_fail(uint64_t id, const char *reason);

#ifdef __cplusplus
}
#endif

#endif
