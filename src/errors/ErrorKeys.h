#pragma once

#include <string_view>

namespace vmr {

/// Coder and JSON keys of an error entry.
inline constexpr std::string_view KEY_LOGS_ERROR = "exception";
inline constexpr std::string_view KEY_LOGS_MESSAGE = "message";
inline constexpr std::string_view KEY_LOGS_TIMESTAMP = "timestamp";
inline constexpr std::string_view KEY_LOGS_STACKTRACE = "stacktrace";
inline constexpr std::string_view KEY_LOGS_METADATA = "metadata";

/// Preferences keys of the error manager. The attempt key's text lacks the ending that its name
/// has; stored data depends on it.
inline constexpr std::string_view VMRLogsArrayKey = "VMRLogsArray";
inline constexpr std::string_view VMRLastPostLogsDateKey = "VMRLastPostLogsDateKey";
inline constexpr std::string_view VMRLastPostLogsAttemptDateKey = "VMRLastPostLogsAttemptDate";

} // namespace vmr
