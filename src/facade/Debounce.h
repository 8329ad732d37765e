#pragma once

#include "platform/Value.h"

#include <functional>
#include <memory>
#include <string_view>

/// Lets any object have one of its own operations run after a delay, on the run loop of the calling
/// thread; scheduling it again replaces the pending call. A target that is gone when it is to be
/// scheduled schedules nothing, and one that goes before its time is not called. Cancelling reaches
/// only what the same thread scheduled.
namespace vmr {

/// Runs `call` once, `delay` seconds from now, instead of a pending call of that operation: a
/// literal that tells it apart. `object` is the argument that the call carries, if it carries one.
/// Only pending calls without an argument are replaced: an earlier call that carries one still
/// runs, even if it is the same argument.
void debounce(const std::weak_ptr<const void> &target, std::string_view operation,
              std::function<void()> call, double delay, const Value &object = Value());

/// A call together with its target, both of which it retains. Used from the thread that scheduled
/// it.
class Invocation : public std::enable_shared_from_this<Invocation> {
public:
    Invocation(std::shared_ptr<const void> target, std::function<void()> call)
        : target_(std::move(target)), call_(std::move(call)) {}

    void invoke() { call_(); }
    /// Calls `invoke` after the delay; the pending call retains the invocation.
    void invokeAfterDelay(double delay);
    /// Drops every pending call of `invoke`.
    void cancel();

private:
    const std::shared_ptr<const void> target_;
    const std::function<void()> call_;
};

/// Schedules an operation with two booleans and hands out the invocation, so that the caller can
/// cancel it; nothing when the target is gone. No earlier call is replaced.
std::shared_ptr<Invocation> debouncedInvocation(const std::weak_ptr<const void> &target,
                                                const std::function<void(bool, bool)> &operation,
                                                bool argument, bool argument2, double delay);
/// The same for an operation that takes its arguments as a list.
std::shared_ptr<Invocation> debouncedInvocation(const std::weak_ptr<const void> &target,
                                                const std::function<void(const List &)> &operation,
                                                const List &arguments, double delay);

} // namespace vmr
