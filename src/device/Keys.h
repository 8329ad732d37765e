#pragma once

#include <string_view>

namespace vmr {

// A constant's name and the text that it holds differ in most places: stored data and the backend
// depend on the texts. <VelmoraKit/Constants.h> tells what each stands for.

/// The configuration that the backend sends, with the defaults. Intervals are whole hours, sizes
/// are entries.
#define VMR_CONFIGURATION_KEYS(KEY)                                                                \
    KEY(VMR_CONFIG_GET_DEVICE_REQUEST_TIME_INTERVAL, "GET_DEVICE_REQUEST_TIME_INTERVAL", 48)       \
    KEY(VMR_CONFIG_LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL,                                         \
        "LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL", 2)                                               \
    KEY(VMR_CONFIG_LOGS_REQUEST_SEND_TIME_INTERVAL, "LOGS_REQUEST_SEND_TIME_INTERVAL", 0)          \
    KEY(VMR_CONFIG_LOGS_REQUEST_ATTEMPT_TIME_INTERVAL, "LOGS_REQUEST_ATTEMPT_TIME_INTERVAL", 0)    \
    KEY(VMR_CONFIG_DISPLAY_LOGS, "DISPLAY_LOGS", 0)                                                \
    KEY(VMR_CONFIG_ERRORS_POST_ACTIVATED, "ERRORS_COLLECT_ACTIVATED", 1)                           \
    KEY(VMR_CONFIG_ERRORS_POST_TIME_INTERVAL, "ERRORS_POST_TIME_INTERVAL", 48)                     \
    KEY(VMR_CONFIG_ERRORS_ATTEMPT_POST_TIME_INTERVAL, "ERRORS_ATTEMPT_POST_TIME_INTERVAL", 12)     \
    KEY(VMR_CONFIG_ERRORS_ACTIVE_ARRAY_BUFFER_SIZE, "ERRORS_ACTIVE_ARRAY_BUFFER_SIZE", 50)         \
    KEY(VMR_CONFIG_ERRORS_LATENT_ARRAY_BUFFER_SIZE, "ERRORS_LATENT_ARRAY_BUFFER_SIZE", 10)

/// What the SDK writes into the preferences, but for the two below.
#define VMR_STORED_KEYS(KEY)                                                                       \
    KEY(DeviceDataVMRId, "VMRDeviceId")                                                            \
    KEY(DeviceDataLastPostDeviceDate, "VMRLastPostDeviceDate")                                     \
    KEY(DeviceDataLastPostDeviceAttempt, "VMRLastPostDeviceAttemptDate")                           \
    KEY(DeviceDataConsentEvents, "VMRConsentEventsArray")                                          \
    KEY(VMRLastPostConsentDatasDateKey, "VMRLastPostConsentDatasDateKey")                          \
    KEY(VMRLastPostConsentDatasAttemptDateKey, "VMRLastPostConsentDatasAttemptDateKey")            \
    KEY(VMRLastTCFv1StringKey, "VMRLastTCFv1StringKey")                                            \
    KEY(VMRLastTCFv2StringKey, "VMRLastTCFv2StringKey")                                            \
    KEY(VMRLogsArrayKey, "VMRLogsArray")                                                           \
    KEY(VMRLastPostLogsDateKey, "VMRLastPostLogsDateKey")                                          \
    KEY(VMRLastPostLogsAttemptDateKey, "VMRLastPostLogsAttemptDate")

/// Fields of records, and a key that nothing reads or writes.
#define VMR_OTHER_KEYS(KEY)                                                                        \
    KEY(KEY_LAST_SENT_DEVICE_PARAMS, "last_device_params_sent")                                    \
    KEY(KEY_LOGS_ERROR, "exception")                                                               \
    KEY(KEY_LOGS_MESSAGE, "message")                                                               \
    KEY(KEY_LOGS_TIMESTAMP, "timestamp")                                                           \
    KEY(KEY_LOGS_STACKTRACE, "stacktrace")                                                         \
    KEY(KEY_LOGS_METADATA, "metadata")                                                             \
    KEY(VMRLastStoredConsentDate, "VMRLastStoredConsentDate")

#define VMR_EXPORTED_KEYS(KEY) VMR_CONFIGURATION_KEYS(KEY) VMR_STORED_KEYS(KEY) VMR_OTHER_KEYS(KEY)

#define VMR_KEY(name, text, ...) inline constexpr std::string_view name = text;
VMR_EXPORTED_KEYS(VMR_KEY)
#undef VMR_KEY

inline constexpr std::string_view VMRSavedConfigurationKey = "VMRSDKConfiguration";
inline constexpr std::string_view DeviceDataKey = "VMRDeviceData";

/// Written by the host's consent tool, never by the SDK.
inline constexpr std::string_view TCFv1ConsentStringKey = "IABConsent_ConsentString";
inline constexpr std::string_view TCFv2ConsentStringKey = "IABTCF_TCString";

} // namespace vmr
