#pragma once

#include <string_view>

namespace vmr {

class SystemLog;

void callGuardedWith(SystemLog &log, std::string_view place, void (*work)(const void *context),
                     const void *context) noexcept;

/// Calls `work`. What it throws becomes one log line that names `place` ("A job of the main
/// queue"), and is dropped: a callback of the host must never end the thread that made the call.
/// Allocates nothing before the call.
template <class Work>
void callGuarded(SystemLog &log, std::string_view place, const Work &work) noexcept {
    callGuardedWith(
        log, place, [](const void *context) { (*static_cast<const Work *>(context))(); }, &work);
}

} // namespace vmr
