#pragma once

#include <functional>
#include <string_view>

namespace vmr {

class SystemLog;

/// Calls `work`. What it throws becomes one log line that names `place` ("A job of the main
/// queue"), and is dropped: a callback of the host must never end the thread that made the call.
void callGuarded(SystemLog &log, std::string_view place,
                 const std::function<void()> &work) noexcept;

} // namespace vmr
