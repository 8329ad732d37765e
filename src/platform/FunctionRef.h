#pragma once

#include <concepts>
#include <utility>

namespace vmr {

template <class Signature>
class FunctionRef;

/// Refers to something that can be called, for as long as the call that it is given to. Unlike a
/// std::function it neither copies nor allocates, and leaves nothing to clean up.
template <class Result, class... Arguments>
class FunctionRef<Result(Arguments...)> {
public:
    template <std::invocable<Arguments...> Work>
    FunctionRef(const Work &work)
        : work_(&work), call_([](const void *held, Arguments... arguments) -> Result {
              return (*static_cast<const Work *>(held))(std::forward<Arguments>(arguments)...);
          }) {}

    Result operator()(Arguments... arguments) const {
        return call_(work_, std::forward<Arguments>(arguments)...);
    }

private:
    const void *work_;
    Result (*call_)(const void *, Arguments...);
};

} // namespace vmr
