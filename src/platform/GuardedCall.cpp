#include "platform/GuardedCall.h"

#include "platform/Format.h"
#include "platform/SystemLog.h"

#include <exception>

namespace vmr {
namespace {

void report(SystemLog &log, std::string_view place, std::string_view what) noexcept {
    try {
        log.write(formatText("VelmoraKit: %@ threw and was dropped: %@", place, what));
    } catch (...) {
        log.write("VelmoraKit: a callback threw and was dropped");
    }
}

} // namespace

void callGuarded(SystemLog &log, std::string_view place, FunctionRef<void()> work) noexcept {
    try {
        work();
    } catch (const std::exception &exception) {
        report(log, place, exception.what());
    } catch (...) {
        report(log, place, "not a std::exception");
    }
}

} // namespace vmr
