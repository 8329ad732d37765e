/**
 * \file
 * \brief Tells a host of each exchange with the service.
 * Included by <VelmoraKit/velmora.h>, whose rules hold here.
 */
#ifndef VELMORAKIT_VELMORA_EXCHANGES_H
#define VELMORAKIT_VELMORA_EXCHANGES_H

#include <VelmoraKit/velmora_results.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum velmora_exchange_kind {
    VELMORA_EXCHANGE_CONSENTS = 1,
    VELMORA_EXCHANGE_ERRORS = 2
} velmora_exchange_kind;

/** An exchange that has ended. Later versions may add members at the end. */
typedef struct velmora_exchange {
    /** sizeof(velmora_exchange) as the library was compiled. */
    size_t size;
    velmora_exchange_kind kind;
    /** 1: the service has taken the events. Else they stay stored. */
    int delivered;
    /** The HTTP status; 0 when there was no answer. Only 200 counts as delivered, and only with a
     * body that is empty, or JSON. */
    int status;
    /** Why there was no answer, a number of docs/troubleshooting.md, for instance -1004; else 0. */
    int error_code;
    /** The same in a sentence, with the remedy, valid during the call; else NULL. */
    const char *error;
    /** How many events or error entries the request carried. */
    size_t events;
    /** The size of its body as it is sent, 0 when none was made. */
    size_t bytes;
    /** Seconds from the request to its end. */
    double duration;
    /** Its end, in seconds since 1970. */
    double time;
} velmora_exchange;

/** Called on the main run loop, once for each exchange, after the SDK has dealt with its end. */
typedef void (*velmora_exchange_callback)(const velmora_exchange *exchange, void *context);
typedef struct velmora_exchange_observer velmora_exchange_observer;

/**
 * Tells `callback` of each exchange that ends from now on, also of one that was refused before
 * anything was sent. From any thread, also before the start. `release` as with
 * velmora_preferences_observe().
 */
VELMORA_API velmora_result velmora_observe_exchanges(velmora_exchange_callback callback,
                                                     void *context,
                                                     velmora_release_callback release,
                                                     velmora_exchange_observer **observer);
/** Ends the observation and frees the observer; allowed inside its callback. NULL is allowed. */
VELMORA_API velmora_result velmora_unobserve_exchanges(velmora_exchange_observer *observer);

#ifdef __cplusplus
}
#endif

#endif
