/**
 * \file
 * \brief How the calls of velmora.h end; part of that header.
 */
#ifndef VELMORAKIT_VELMORA_RESULTS_H
#define VELMORAKIT_VELMORA_RESULTS_H

#include <VelmoraKit/Export.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum velmora_result {
    VELMORA_OK = 0,
    /** NULL or empty where something is needed, a number out of range or not finite, a text without
     * the form it must have, a structure's wrong size. */
    VELMORA_INVALID_ARGUMENT = 1,
    VELMORA_INVALID_UTF8 = 2,
    VELMORA_TOO_LONG = 3,
    /**
     * The options, a log sink or a transport come too late: the SDK is already in use. Erasing:
     * another process is in charge of the preferences file.
     */
    VELMORA_INVALID_STATE = 4,
    /** Nothing is stored under the key; no such request waits for an answer. */
    VELMORA_NOT_FOUND = 5,
    /** What is stored under the key is of another type. */
    VELMORA_WRONG_TYPE = 6,
    /** The main run loop belongs to another thread. */
    VELMORA_WRONG_THREAD = 7,
    VELMORA_FORKED_CHILD = 8,
    VELMORA_OUT_OF_MEMORY = 9,
    /** A fault of the SDK itself; of velmora_run_loop_descriptor() also that the process can open
     * no more descriptors. */
    VELMORA_INTERNAL = 10,
    /** The preferences file cannot be written now. */
    VELMORA_STORE_UNAVAILABLE = 11
} velmora_result;

/** A short English text for a result; for unknown numbers too. Never NULL, never freed. */
VELMORA_API const char *velmora_strerror(int result);

/**
 * What the calling thread's last failed call found wrong, and what to do, in one line. Empty when
 * the last call succeeded. Valid until the thread's next call.
 */
VELMORA_API const char *velmora_last_error_message(void);

/** Frees what a function handed out. NULL is allowed. */
VELMORA_API void velmora_free(void *memory);

/** Tells a host that a context of its own is not used any more. */
typedef void (*velmora_release_callback)(void *context);

#ifdef __cplusplus
}
#endif

#endif
