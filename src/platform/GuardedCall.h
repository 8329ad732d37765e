#pragma once

#include "platform/FunctionRef.h"

#include <string_view>

namespace vmr {

class SystemLog;

/// Calls `work`. What it throws becomes one log line that names `place` ("A job of the main
/// queue"), and is dropped: a callback of the host must never end the thread that made the call.
/// Allocates nothing before the call.
void callGuarded(SystemLog &log, std::string_view place, FunctionRef<void()> work) noexcept;

} // namespace vmr
