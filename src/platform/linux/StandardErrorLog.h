#pragma once

#include "platform/SystemLog.h"

#include <functional>
#include <string_view>

namespace vmr {

/// Lines on standard error: date, program, process, thread, text. One write a line, so that lines
/// of several threads do not mix; a standard error that nobody reads raises no signal.
class StandardErrorLog final : public SystemLog {
public:
    void write(std::string_view line) noexcept override;
};

/// Hands the lines to the host. What the sink throws is dropped, and so is a line that comes about
/// inside the sink itself.
class HostLog final : public SystemLog {
public:
    explicit HostLog(std::function<void(std::string_view line)> sink);
    void write(std::string_view line) noexcept override;

private:
    const std::function<void(std::string_view line)> sink_;
};

} // namespace vmr
