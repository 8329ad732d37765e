/**
 * \file
 * \brief The constants that VelmoraKit exports: configuration keys, the keys under which it keeps
 * its state in the preferences, the keys of an error entry, and its version. Valid C99 and C++.
 *
 * A constant's name and the text that it holds differ in most places; what is stored and sent is
 * the text.
 */
#ifndef VELMORAKIT_CONSTANTS_H
#define VELMORAKIT_CONSTANTS_H

#include <VelmoraKit/Export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Configuration: numbers that the backend sends; what it leaves out keeps its default. */

/** Hours after which the device is registered again; 48. */
VELMORA_EXPORT extern const char *const VMR_CONFIG_GET_DEVICE_REQUEST_TIME_INTERVAL;
/** Hours after which a failed registration is tried again; 2. */
VELMORA_EXPORT extern const char *const VMR_CONFIG_LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL;
/** Hours between two successful consent posts; 0. */
VELMORA_EXPORT extern const char *const VMR_CONFIG_LOGS_REQUEST_SEND_TIME_INTERVAL;
/** Hours between two attempts at a consent post; 0. */
VELMORA_EXPORT extern const char *const VMR_CONFIG_LOGS_REQUEST_ATTEMPT_TIME_INTERVAL;
/** Not 0: debug lines are written to the log; 0. */
VELMORA_EXPORT extern const char *const VMR_CONFIG_DISPLAY_LOGS;
/** Not 0: error entries are posted. Holds "ERRORS_COLLECT_ACTIVATED"; 1. */
VELMORA_EXPORT extern const char *const VMR_CONFIG_ERRORS_POST_ACTIVATED;
/** Hours between two successful posts of error entries; 48. */
VELMORA_EXPORT extern const char *const VMR_CONFIG_ERRORS_POST_TIME_INTERVAL;
/** Hours between two attempts at a post of error entries; 12. */
VELMORA_EXPORT extern const char *const VMR_CONFIG_ERRORS_ATTEMPT_POST_TIME_INTERVAL;
/** Error entries that are kept while they are posted; 50. */
VELMORA_EXPORT extern const char *const VMR_CONFIG_ERRORS_ACTIVE_ARRAY_BUFFER_SIZE;
/** Error entries that are kept while they are not posted; 10. */
VELMORA_EXPORT extern const char *const VMR_CONFIG_ERRORS_LATENT_ARRAY_BUFFER_SIZE;

/* Keys in the preferences. The values belong to the SDK: read them, do not write them. */

/** This installation's identifier, a string. */
VELMORA_EXPORT extern const char *const DeviceDataVMRId;
/** When the backend last answered a device request, a date. */
VELMORA_EXPORT extern const char *const DeviceDataLastPostDeviceDate;
/** When a device request last failed, a date. */
VELMORA_EXPORT extern const char *const DeviceDataLastPostDeviceAttempt;
/** Field of the device record: the parameters that the backend last accepted. */
VELMORA_EXPORT extern const char *const KEY_LAST_SENT_DEVICE_PARAMS;
/** The consent events that wait to be posted: records, read as data, their archive. */
VELMORA_EXPORT extern const char *const DeviceDataConsentEvents;
/** When consent events were last posted with success, a date. */
VELMORA_EXPORT extern const char *const VMRLastPostConsentDatasDateKey;
/** When a consent post was last sent, a date. */
VELMORA_EXPORT extern const char *const VMRLastPostConsentDatasAttemptDateKey;
/** The last known TCF v1 string. */
VELMORA_EXPORT extern const char *const VMRLastTCFv1StringKey;
/** The last known TCF v2 string. */
VELMORA_EXPORT extern const char *const VMRLastTCFv2StringKey;
/** Reserved; never written. */
VELMORA_EXPORT extern const char *const VMRLastStoredConsentDate;
/** The buffered error entries: records, read as data, their archive. */
VELMORA_EXPORT extern const char *const VMRLogsArrayKey;
/** When error entries were last posted with success, a date. */
VELMORA_EXPORT extern const char *const VMRLastPostLogsDateKey;
/** When a post of error entries was last sent, a date. */
VELMORA_EXPORT extern const char *const VMRLastPostLogsAttemptDateKey;

/* Keys of an error entry's JSON object. */

/** The kind of error, a short fixed label. Holds "exception". */
VELMORA_EXPORT extern const char *const KEY_LOGS_ERROR;
/** Free text. */
VELMORA_EXPORT extern const char *const KEY_LOGS_MESSAGE;
/** When the entry was made. */
VELMORA_EXPORT extern const char *const KEY_LOGS_TIMESTAMP;
/** The call stack. */
VELMORA_EXPORT extern const char *const KEY_LOGS_STACKTRACE;
/** Details of the failure, an object. */
VELMORA_EXPORT extern const char *const KEY_LOGS_METADATA;

/** One line of text with a line feed at its end; shown by tools that list a program's parts. */
VELMORA_EXPORT extern const unsigned char VelmoraKitVersionString[];
/** The version of the interface. */
VELMORA_EXPORT extern const double VelmoraKitVersionNumber;

#ifdef __cplusplus
}
#endif

#endif
