#pragma once

#include <string_view>

namespace vmr {

/// Where the configuration is stored.
inline constexpr std::string_view VMRSavedConfigurationKey = "VMRSDKConfiguration";

/// Keys of the configuration that the backend sends. Intervals are whole hours, sizes are entries.
inline constexpr std::string_view VMR_CONFIG_GET_DEVICE_REQUEST_TIME_INTERVAL =
    "GET_DEVICE_REQUEST_TIME_INTERVAL";
inline constexpr std::string_view VMR_CONFIG_LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL =
    "LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL";
inline constexpr std::string_view VMR_CONFIG_LOGS_REQUEST_SEND_TIME_INTERVAL =
    "LOGS_REQUEST_SEND_TIME_INTERVAL";
inline constexpr std::string_view VMR_CONFIG_LOGS_REQUEST_ATTEMPT_TIME_INTERVAL =
    "LOGS_REQUEST_ATTEMPT_TIME_INTERVAL";
inline constexpr std::string_view VMR_CONFIG_DISPLAY_LOGS = "DISPLAY_LOGS";
/// The backend's key differs from the name.
inline constexpr std::string_view VMR_CONFIG_ERRORS_POST_ACTIVATED = "ERRORS_COLLECT_ACTIVATED";
inline constexpr std::string_view VMR_CONFIG_ERRORS_POST_TIME_INTERVAL =
    "ERRORS_POST_TIME_INTERVAL";
inline constexpr std::string_view VMR_CONFIG_ERRORS_ATTEMPT_POST_TIME_INTERVAL =
    "ERRORS_ATTEMPT_POST_TIME_INTERVAL";
inline constexpr std::string_view VMR_CONFIG_ERRORS_ACTIVE_ARRAY_BUFFER_SIZE =
    "ERRORS_ACTIVE_ARRAY_BUFFER_SIZE";
inline constexpr std::string_view VMR_CONFIG_ERRORS_LATENT_ARRAY_BUFFER_SIZE =
    "ERRORS_LATENT_ARRAY_BUFFER_SIZE";

} // namespace vmr
