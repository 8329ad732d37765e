#pragma once

#include "platform/Value.h"

#include <functional>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

/// Lets any object have one of its own operations run after a delay, on the run loop of the calling
/// thread; scheduling it again replaces the pending call. A target that is gone when it is to be
/// scheduled schedules nothing, and one that goes before its time is not called. Cancelling reaches
/// only what the same thread scheduled.
namespace vmr {

/// One of a class's own operations: its name, a literal that tells it apart, and the member
/// function.
template <class Target, class... Arguments>
struct Operation {
    std::string_view name;
    void (Target::*function)(Arguments...);
};
template <class Target, class... Arguments>
Operation(std::string_view, void (Target::*)(Arguments...)) -> Operation<Target, Arguments...>;

/// An operation together with its target and its arguments, all of which it retains. Used from the
/// thread that scheduled it.
class Invocation : public std::enable_shared_from_this<Invocation> {
public:
    Invocation(std::shared_ptr<void> target, std::string_view operation, List arguments,
               std::function<void()> call);

    const std::shared_ptr<void> &target() const noexcept { return target_; }
    std::string_view operation() const noexcept { return operation_; }
    const List &arguments() const noexcept { return arguments_; }

    void invoke();
    /// Calls `invoke` after the delay; the pending call retains the invocation.
    void invokeAfterDelay(double delay);
    /// Drops every pending call of `invoke`.
    void cancel();

private:
    const std::shared_ptr<void> target_;
    const std::string_view operation_;
    const List arguments_;
    const std::function<void()> call_;
};

/// What both `debounce` operations do, whatever the class: drops the pending calls of the operation
/// that carry no argument, then schedules `call` under the given argument.
void debounceCall(const std::weak_ptr<const void> &target, std::string_view operation,
                  const Value &argument, std::function<void()> call, double delay);
/// What both `debouncedInvocation` operations do.
std::shared_ptr<Invocation> invocationAfterDelay(std::shared_ptr<void> target,
                                                 std::string_view operation, List arguments,
                                                 std::function<void()> call, double delay);

/// Calls the operation of a target that is still there.
template <class Target, class... Arguments, class... Given>
std::function<void()> callOf(std::weak_ptr<Target> target,
                             Operation<Target, Arguments...> operation, Given... given) {
    return [target = std::move(target), operation, given...] {
        if (const auto held = target.lock())
            (held.get()->*operation.function)(given...);
    };
}

/// Runs the operation once, `delay` seconds from now, instead of a pending call of it.
template <class Target>
void debounce(const std::weak_ptr<std::type_identity_t<Target>> &target,
              Operation<Target> operation, double delay) {
    debounceCall(target, operation.name, Value(), callOf(target, operation), delay);
}

/// The same with an argument. Only pending calls without an argument are replaced: an earlier call
/// that carries one still runs, even if it is the same argument.
template <class Target>
void debounce(const std::weak_ptr<std::type_identity_t<Target>> &target,
              Operation<Target, const Value &> operation, const Value &object, double delay) {
    debounceCall(target, operation.name, object, callOf(target, operation, object), delay);
}

/// Schedules an operation with two booleans and hands out the invocation, so that the caller can
/// cancel it; nothing when the target is gone. No earlier call is replaced.
template <class Target>
std::shared_ptr<Invocation>
debouncedInvocation(const std::weak_ptr<std::type_identity_t<Target>> &target,
                    Operation<Target, bool, bool> operation, bool argument, bool argument2,
                    double delay) {
    return invocationAfterDelay(target.lock(), operation.name,
                                {Value::boolean(argument), Value::boolean(argument2)},
                                callOf(target, operation, argument, argument2), delay);
}

/// The same for an operation that takes its arguments as a list.
template <class Target>
std::shared_ptr<Invocation>
debouncedInvocation(const std::weak_ptr<std::type_identity_t<Target>> &target,
                    Operation<Target, const List &> operation, const List &arguments,
                    double delay) {
    return invocationAfterDelay(target.lock(), operation.name, arguments,
                                callOf(target, operation, arguments), delay);
}

} // namespace vmr
