/**
 * \file
 * \brief The application's preferences; part of velmora.h, whose rules hold here.
 */
#ifndef VELMORAKIT_VELMORA_PREFERENCES_H
#define VELMORAKIT_VELMORA_PREFERENCES_H

#include <VelmoraKit/velmora_results.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The application's key-value store, shared with the SDK and with other processes. A value that was
 * set is visible at once; observers are called on the setting thread before the call returns, and
 * what they set is stored together with it, as one transaction, or not at all. The consent strings
 * are "IABTCF_TCString" (v2) and "IABConsent_ConsentString" (v1).
 *
 * Write the consent strings on the main run loop's thread, or with the functions that end with
 * _on_main_loop: the post that follows a change waits on the loop of the thread that made it. The
 * first time that a started SDK is set one on another thread, a line in the log says so.
 */

VELMORA_API velmora_result velmora_preferences_set_string(const char *key, const char *text);
/** The same for a text that has a length and may contain NULs. */
VELMORA_API velmora_result velmora_preferences_set_text(const char *key, const char *text,
                                                        size_t length);
VELMORA_API velmora_result velmora_preferences_set_integer(const char *key, int64_t value);
/** A finite number. */
VELMORA_API velmora_result velmora_preferences_set_real(const char *key, double value);
/** 0 is false, everything else true. */
VELMORA_API velmora_result velmora_preferences_set_boolean(const char *key, int value);
/** A finite number. */
VELMORA_API velmora_result velmora_preferences_set_date(const char *key, double seconds_since_1970);
/** `bytes` may be NULL when `length` is 0. */
VELMORA_API velmora_result velmora_preferences_set_data(const char *key, const void *bytes,
                                                        size_t length);
/**
 * Any value as JSON text, scalars included. What JSON lacks is a tagged object: {"$date": seconds
 * since 1970}, {"$data": "hexadecimal"}, {"$real": "nan"}; see docs/storage-format.md. null removes
 * the key. Arrays and objects may be nested 512 deep.
 */
VELMORA_API velmora_result velmora_preferences_set_json(const char *key, const char *json);

/*
 * VELMORA_NOT_FOUND when the key holds nothing, VELMORA_WRONG_TYPE when it holds another type: an
 * integer is not a real, 0 and 1 are not booleans. velmora_preferences_get_json reads any type.
 */

/** `length` may be NULL; it tells of NULs inside the text. */
VELMORA_API velmora_result velmora_preferences_get_string(const char *key, char **text,
                                                          size_t *length);
VELMORA_API velmora_result velmora_preferences_get_integer(const char *key, int64_t *value);
VELMORA_API velmora_result velmora_preferences_get_real(const char *key, double *value);
VELMORA_API velmora_result velmora_preferences_get_boolean(const char *key, int *value);
VELMORA_API velmora_result velmora_preferences_get_date(const char *key,
                                                        double *seconds_since_1970);
/** `length` must not be NULL. */
VELMORA_API velmora_result velmora_preferences_get_data(const char *key, void **bytes,
                                                        size_t *length);
/** Whatever is stored, as JSON text in the form of velmora_preferences_set_json. */
VELMORA_API velmora_result velmora_preferences_get_json(const char *key, char **json);

/** Removing what is not there succeeds. */
VELMORA_API velmora_result velmora_preferences_remove(const char *key);

/*
 * For threads without the main run loop: the same, done by that loop on its thread, so that what
 * follows a change of a consent string is posted. They check their arguments like the functions
 * above, copy them, and return at once, on the loop's own thread too.
 *
 * VELMORA_OK says that the set is accepted: the loop makes it in one of its next passes, in the
 * order in which sets and work (velmora_run_loop_perform) were handed over. From that pass on it is
 * visible, observers are told, and it is as durable as any other. Until then it is in memory alone:
 * a process that ends before its loop has run loses it, as it loses every call that it has not made
 * yet. velmora_run_loop_run_until_idle() before the end sees to it; "mainLoop" of
 * velmora_diagnose_json() tells how many wait.
 */

VELMORA_API velmora_result velmora_preferences_set_string_on_main_loop(const char *key,
                                                                       const char *text);
VELMORA_API velmora_result velmora_preferences_set_json_on_main_loop(const char *key,
                                                                     const char *json);
VELMORA_API velmora_result velmora_preferences_remove_on_main_loop(const char *key);

/**
 * Every key that holds something, in ascending order, and a NULL after the last. One block: free
 * `keys`, not the texts. `count` may be NULL.
 */
VELMORA_API velmora_result velmora_preferences_keys(char ***keys, size_t *count);

/**
 * Makes what was written durable, against a power cut too, before it returns. Waits for the disk,
 * and up to 3 s for a file that another process holds. #VELMORA_STORE_UNAVAILABLE when it could
 * not: the log says why, and what was set stays in memory. Called by an observer it is done at the
 * end of the call that is observed, before that one returns, since half of it is not stored.
 */
VELMORA_API velmora_result velmora_preferences_synchronize(void);

/**
 * Told of a change: the values as JSON text, NULL where there is or was none. The texts are valid
 * during the call. On the thread that made the change, inside its write; a change made by another
 * process arrives on the main run loop.
 */
typedef void (*velmora_preferences_callback)(const char *key, const char *new_json,
                                             const char *old_json, void *context);
typedef struct velmora_observer velmora_observer;

/**
 * Observes a key, or every key when `key` is NULL. `release` may be NULL; otherwise it is called
 * once when `context` is not used any more: after velmora_preferences_unobserve, once a call that
 * is still under way on another thread has returned, or before this returns when it fails.
 */
VELMORA_API velmora_result velmora_preferences_observe(const char *key,
                                                       velmora_preferences_callback callback,
                                                       void *context,
                                                       velmora_release_callback release,
                                                       velmora_observer **observer);
/** Ends the observation and frees the observer; allowed inside its callback. NULL is allowed. */
VELMORA_API velmora_result velmora_preferences_unobserve(velmora_observer *observer);

#ifdef __cplusplus
}
#endif

#endif
