/// Stands before the C library's functions, and SQLite's, for everything in this program.

// Functions for long files are defined here beside the others, not in place of them.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include "linux/Faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

#define SEEN __attribute__((visibility("default")))

namespace vmr::test {
namespace {

std::atomic<Call> failing{Call::none};
std::atomic<int> left{-1};
int failure = 0;
std::atomic<bool> isThreadsafe{true};

/// Shared with the children.
std::atomic<int> *counters() {
    static auto *const all = static_cast<std::atomic<int> *>(
        ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    return all;
}

thread_local std::function<void()> before;

bool fails(Call call) {
    if (call != Call::allocate && before) {
        const auto work = std::exchange(before, nullptr);
        work();
        before = work;
    }
    if (call != Call::allocate)
        ++counters()[static_cast<int>(call)];
    if (failing != call || left < 0 || left-- != 0)
        return false;
    if (failure == 0)
        ::kill(::getpid(), SIGKILL);
    errno = failure;
    return true;
}

template <class Function>
Function real(const char *name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

void failAt(Call call, int nth, int error) {
    counters();
    failure = error;
    left = nth;
    failing = call;
}

void beforeEach(std::function<void()> work) {
    before = std::move(work);
}

bool hasFailed() {
    return left < 0;
}

int countOf(Call call) {
    return counters()[static_cast<int>(call)];
}

void setThreadsafe(bool is) {
    isThreadsafe = is;
}

} // namespace vmr::test

using vmr::test::Call;
using vmr::test::fails;
using vmr::test::real;

extern "C" {

SEEN ssize_t pwrite64(int file, const void *bytes, size_t size, off64_t offset) {
    static const auto next = real<ssize_t (*)(int, const void *, size_t, off64_t)>("pwrite64");
    return fails(Call::write) ? -1 : next(file, bytes, size, offset);
}

SEEN ssize_t pwrite(int file, const void *bytes, size_t size, off_t offset) {
    return pwrite64(file, bytes, size, offset);
}

SEEN ssize_t pread64(int file, void *bytes, size_t size, off64_t offset) {
    static const auto next = real<ssize_t (*)(int, void *, size_t, off64_t)>("pread64");
    return fails(Call::read) ? -1 : next(file, bytes, size, offset);
}

SEEN int open64(const char *path, int flags, ...) {
    static const auto next = real<int (*)(const char *, int, ...)>("open64");
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return fails(Call::open) ? -1 : next(path, flags, mode);
}

SEEN int open(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return open64(path, flags, mode);
}

SEEN int fdatasync(int file) {
    static const auto next = real<int (*)(int)>("fdatasync");
    return fails(Call::sync) ? -1 : next(file);
}

SEEN int fsync(int file) {
    static const auto next = real<int (*)(int)>("fsync");
    return fails(Call::sync) ? -1 : next(file);
}

SEEN int fcntl64(int file, int command, ...) {
    static const auto next = real<int (*)(int, int, void *)>("fcntl64");
    va_list rest;
    va_start(rest, command);
    void *const argument = va_arg(rest, void *);
    va_end(rest);
    return command == F_SETLK && fails(Call::lock) ? -1 : next(file, command, argument);
}

SEEN int lstat(const char *path, struct stat *status) {
    static const auto next = real<int (*)(const char *, struct stat *)>("lstat");
    return fails(Call::status) ? -1 : next(path, status);
}

SEEN int faccessat(int folder, const char *path, int rights, int flags) {
    static const auto next = real<int (*)(int, const char *, int, int)>("faccessat");
    return fails(Call::access) ? -1 : next(folder, path, rights, flags);
}

SEEN int rename(const char *from, const char *to) {
    static const auto next = real<int (*)(const char *, const char *)>("rename");
    return fails(Call::rename) ? -1 : next(from, to);
}

SEEN int sqlite3_threadsafe() {
    return vmr::test::isThreadsafe ? 1 : 0;
}

} // extern "C"

void *operator new(std::size_t size) {
    if (fails(Call::allocate))
        throw std::bad_alloc();
    void *const memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    return fails(Call::allocate) ? nullptr : std::malloc(size);
}

void operator delete(void *memory) noexcept {
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}
