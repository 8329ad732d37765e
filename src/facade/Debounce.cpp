#include "facade/Debounce.h"

#include "platform/Platform.h"
#include "platform/RunLoop.h"

namespace vmr {
namespace {

constexpr std::string_view invokeOperation = "invoke";

std::shared_ptr<Invocation> invocationAfterDelay(std::shared_ptr<const void> target,
                                                 std::function<void()> call, double delay) {
    if (!target)
        return nullptr;
    auto invocation = std::make_shared<Invocation>(std::move(target), std::move(call));
    invocation->invokeAfterDelay(delay);
    return invocation;
}

} // namespace

void debounce(const std::weak_ptr<const void> &target, std::string_view operation,
              std::function<void()> call, double delay, const Value &object) {
    const auto held = target.lock();
    if (!held)
        return;
    RunLoop &loop = platform().runLoops->current();
    loop.cancelPreviousPerformRequests({held.get(), operation, Value()});
    loop.performAfterDelay({held.get(), operation, object}, target, std::move(call), delay);
}

void Invocation::invokeAfterDelay(double delay) {
    platform().runLoops->current().performAfterDelay(
        {this, invokeOperation, Value()}, weak_from_this(),
        [self = shared_from_this()] { self->invoke(); }, delay);
}

void Invocation::cancel() {
    platform().runLoops->current().cancelPreviousPerformRequests({this, invokeOperation, Value()});
}

std::shared_ptr<Invocation> debouncedInvocation(const std::weak_ptr<const void> &target,
                                                const std::function<void(bool, bool)> &operation,
                                                bool argument, bool argument2, double delay) {
    return invocationAfterDelay(
        target.lock(), [=] { operation(argument, argument2); }, delay);
}

std::shared_ptr<Invocation> debouncedInvocation(const std::weak_ptr<const void> &target,
                                                const std::function<void(const List &)> &operation,
                                                const List &arguments, double delay) {
    return invocationAfterDelay(
        target.lock(), [=] { operation(arguments); }, delay);
}

} // namespace vmr
