#include "facade/Debounce.h"

#include "platform/Platform.h"
#include "platform/RunLoop.h"

namespace vmr {
namespace {

constexpr std::string_view invokeOperation = "invoke";

} // namespace

Invocation::Invocation(std::shared_ptr<void> target, std::string_view operation, List arguments,
                       std::function<void()> call)
    : target_(std::move(target)), operation_(operation), arguments_(std::move(arguments)),
      call_(std::move(call)) {}

void Invocation::invoke() {
    call_();
}

void Invocation::invokeAfterDelay(double delay) {
    platform().runLoops->current().performAfterDelay(
        {this, invokeOperation, Value()}, weak_from_this(),
        [self = shared_from_this()] { self->invoke(); }, delay);
}

void Invocation::cancel() {
    platform().runLoops->current().cancelPreviousPerformRequests({this, invokeOperation, Value()});
}

std::shared_ptr<Invocation> invocationAfterDelay(std::shared_ptr<void> target,
                                                 std::string_view operation, List arguments,
                                                 std::function<void()> call, double delay) {
    if (!target)
        return nullptr;
    auto invocation = std::make_shared<Invocation>(std::move(target), operation,
                                                   std::move(arguments), std::move(call));
    invocation->invokeAfterDelay(delay);
    return invocation;
}

void debounceCall(const std::weak_ptr<const void> &target, std::string_view operation,
                  const Value &argument, std::function<void()> call, double delay) {
    const auto held = target.lock();
    if (!held)
        return;
    RunLoop &loop = platform().runLoops->current();
    loop.cancelPreviousPerformRequests({held.get(), operation, Value()});
    loop.performAfterDelay({held.get(), operation, argument}, target, std::move(call), delay);
}

} // namespace vmr
