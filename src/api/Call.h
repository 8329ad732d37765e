#pragma once

#include "api/Arguments.h"

#include <VelmoraKit/velmora.h>

#include <cerrno>
#include <type_traits>

namespace vmr::api {

/// The calling thread's message.
const char *lastErrorMessage() noexcept;

class ErrnoKeeper {
public:
    ErrnoKeeper() noexcept : kept_(errno) {}
    ~ErrnoKeeper() { errno = kept_; }
    ErrnoKeeper(const ErrnoKeeper &) = delete;
    ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;

private:
    int kept_;
};

using Work = void (*)(void *context);
velmora_result callWith(Work work, void *context, bool isUse) noexcept;

/// The frame of every function of the C interface: tells a forked child apart before any lock,
/// lets nothing be thrown out, keeps errno, and puts a cancellation of the thread off until the
/// function returns. What is no use of the SDK works in a forked child, too.
template <class Callable>
velmora_result call(Callable &&callable, bool isUse = true) noexcept {
    return callWith(
        [](void *context) { (*static_cast<std::remove_reference_t<Callable> *>(context))(); },
        &callable, isUse);
}

/// The same for a function that answers through `result`, which is emptied first and must be there.
template <class Result, class Callable>
velmora_result answer(Result *result, std::string_view name, const Callable &make) noexcept {
    if (result != nullptr)
        *result = Result();
    return call([&] {
        requirePointer(result, name);
        *result = make();
    });
}

} // namespace vmr::api
