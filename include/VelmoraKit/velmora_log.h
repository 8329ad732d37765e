/**
 * \file
 * \brief Log lines with their levels, and ready sinks for the journal and syslog.
 * Included by <VelmoraKit/velmora.h>, whose rules hold here.
 */
#ifndef VELMORAKIT_VELMORA_LOG_H
#define VELMORAKIT_VELMORA_LOG_H

#include <VelmoraKit/velmora_results.h>

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/** How much a line matters. The numbers are those of syslog. */
typedef enum velmora_log_level {
    /** Nothing can be delivered until somebody acts. */
    VELMORA_LOG_ERROR = 3,
    /** Something is amiss; the SDK goes on. Also the end of it. */
    VELMORA_LOG_WARNING = 4,
    VELMORA_LOG_INFO = 6,
    /** The debug lines, which the information dictionary or the configuration turns on. */
    VELMORA_LOG_DEBUG = 7
} velmora_log_level;

/** Like #velmora_log_callback, and told the level. */
typedef void (*velmora_log_sink)(velmora_log_level level, const char *line, size_t length,
                                 void *context);

/**
 * Sends all log lines to `sink` instead of standard error or velmora_options::log_callback.
 * Together with velmora_configure() and velmora_set_transport(), in any order, before every other
 * use of the SDK; later it is #VELMORA_INVALID_STATE and has no effect. Called again before then,
 * the last one counts. `context` lives as long as the process.
 *
 *     velmora_set_log_sink(velmora_log_to_journal, NULL);
 */
VELMORA_API velmora_result velmora_set_log_sink(velmora_log_sink sink, void *context);

/**
 * Ready sinks, which a sink of the host's own may call, too, before the SDK is used as well; in a
 * forked child only where its parent had no other thread, for they ask for the local time.
 * `identifier` is the program's name as the service shows it, a text that ends with a NUL; NULL:
 * the process's own. They never wait: what the service does not take goes to standard error.
 */
VELMORA_API void velmora_log_to_journal(velmora_log_level level, const char *line, size_t length,
                                        void *identifier);
/** By way of /dev/log, with the facility "user"; the host's openlog() is left as it is. */
VELMORA_API void velmora_log_to_syslog(velmora_log_level level, const char *line, size_t length,
                                       void *identifier);

#ifdef __cplusplus
}
#endif

#endif
