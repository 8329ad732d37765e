#pragma once

#include <VelmoraKit/velmora.h>

#include <cerrno>
#include <exception>
#include <string>
#include <type_traits>
#include <utility>

namespace vmr::api {

/// Thrown inside the C interface to end a call: the result and a sentence with the remedy. Never
/// leaves it.
class Refusal : public std::exception {
public:
    Refusal(velmora_result result, std::string message)
        : result_(result), message_(std::move(message)) {}
    velmora_result result() const noexcept { return result_; }
    const char *what() const noexcept override { return message_.c_str(); }

private:
    velmora_result result_;
    std::string message_;
};

/// The calling thread's message.
const char *lastErrorMessage() noexcept;

/// Whether the process that used the SDK is another one: this is its forked child.
bool isForkedChild() noexcept;

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
velmora_result callWith(Work work, void *context) noexcept;

/// The frame of every function of the C interface: tells a forked child apart before any lock,
/// lets nothing be thrown out, keeps errno, and puts a cancellation of the thread off until the
/// function returns.
template <class Callable>
velmora_result call(Callable &&callable) noexcept {
    return callWith(
        [](void *context) { (*static_cast<std::remove_reference_t<Callable> *>(context))(); },
        &callable);
}

} // namespace vmr::api
