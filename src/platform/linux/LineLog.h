#pragma once

#include "platform/SystemLog.h"

#include <sys/uio.h>

#include <functional>
#include <string_view>

namespace vmr {

/// Hands every line to a sink, the host's or standard error, as `visibleLine` makes it: texts of
/// others in it can neither steer a terminal nor pass for lines of their own. What the sink throws
/// is dropped, and so is a line that comes about inside the sink itself.
class LineLog final : public SystemLog {
public:
    using Sink = std::function<void(std::string_view line, LogLevel level)>;

    explicit LineLog(Sink sink);
    void write(std::string_view line, LogLevel level = LogLevel::warning) noexcept override;

private:
    const Sink sink_;
};

/// What writev and sendmsg take.
inline iovec piece(std::string_view text) noexcept {
    return iovec{const_cast<char *>(text.data()), text.size()};
}

/// Date, program, process, thread, line, whatever its level. One write a line, so that lines of
/// several threads do not mix; a standard error that nobody reads raises no signal.
void writeToStandardError(std::string_view line, LogLevel level = LogLevel::warning) noexcept;

} // namespace vmr
