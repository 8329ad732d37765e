#pragma once

#include <string_view>

namespace vmr {

/// How much a line matters; the numbers are those of syslog.
enum class LogLevel : int {
    /// Nothing can be delivered until somebody acts.
    error = 3,
    /// Something is amiss; the SDK goes on and tries again.
    warning = 4,
    info = 6,
    /// The lines that the host or the configuration turns on.
    debug = 7,
};

/// The system log. A line is written whole, texts of others in it made visible; any thread may
/// write.
class SystemLog {
public:
    /// `line` has no line feed at its end; one inside it belongs to the text.
    virtual void write(std::string_view line, LogLevel level = LogLevel::warning) noexcept = 0;

protected:
    ~SystemLog() = default;
};

} // namespace vmr
