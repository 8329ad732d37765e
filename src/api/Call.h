#pragma once

#include <VelmoraKit/velmora.h>

#include <cerrno>
#include <exception>
#include <string>

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

/// The calling thread's message; kept without allocating, so that running out of memory can be
/// told.
void setLastErrorMessage(const char *message) noexcept;
const char *lastErrorMessage() noexcept;

/// Marks the SDK as used by this process; before the first lock is taken.
void claimProcess() noexcept;
/// Whether the process that used the SDK is another one: this is its forked child.
bool isForkedChild() noexcept;

/// Notes the refusal of a forked child.
velmora_result refuseForkedChild() noexcept;
/// Turns the exception that is being handled into a result and notes its message.
velmora_result resultOfCurrentException() noexcept;

class ErrnoKeeper {
public:
    ErrnoKeeper() noexcept : kept_(errno) {}
    ~ErrnoKeeper() { errno = kept_; }
    ErrnoKeeper(const ErrnoKeeper &) = delete;
    ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;

private:
    int kept_;
};

/// The frame of every function of the C interface: tells a forked child apart before any lock,
/// lets nothing be thrown out and keeps errno.
template <class Work>
velmora_result call(Work &&work) noexcept {
    const ErrnoKeeper keeper;
    setLastErrorMessage("");
    if (isForkedChild())
        return refuseForkedChild();
    try {
        claimProcess();
        work();
        return VELMORA_OK;
    } catch (...) {
        return resultOfCurrentException();
    }
}

} // namespace vmr::api
