/* Loaded before the C library. Four uses, from shim_begin() on:
     SHIM_FAIL=group:errno:first:last   calls first to last of the group fail
     SHIM_KILL=group:n                  the process is killed before its nth call of the group
     SHIM_RECORD=file                   every change of a file is written down, with its time
     SHIM_CLOCK=seconds                 the clock is so far ahead, or back; also by shim_clock()
   SHIM_COUNT names a file that learns, as two 64-bit numbers, how many calls of the group were seen
   and how many were hit. Groups: memory open read write sync lock stat rename unlink map thread
   socket event; "all" is every one of them. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

static volatile int active;
static char group[16];
static int isKill, error, recording = -1;
static uint64_t first, last;
static uint64_t ownCounts[2];
static volatile uint64_t *counts = ownCounts;

static int64_t ahead;

void shim_clock(double seconds) {
    __atomic_store_n(&ahead, (int64_t)seconds, __ATOMIC_SEQ_CST);
}
int clock_gettime(clockid_t clock, struct timespec *now) {
    const int result = (int)syscall(SYS_clock_gettime, clock, now);
    if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)
        now->tv_sec += __atomic_load_n(&ahead, __ATOMIC_SEQ_CST);
    return result;
}
time_t time(time_t *out) {
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    if (out)
        *out = now.tv_sec;
    return now.tv_sec;
}
int gettimeofday(struct timeval *restrict out, void *restrict zone) {
    struct timespec now;
    (void)zone;
    clock_gettime(CLOCK_REALTIME, &now);
    out->tv_sec = now.tv_sec;
    out->tv_usec = now.tv_nsec / 1000;
    return 0;
}

void shim_begin(void) {
    const char *fail = getenv("SHIM_FAIL");
    const char *kill = getenv("SHIM_KILL");
    const char *record = getenv("SHIM_RECORD");
    const char *count = getenv("SHIM_COUNT");
    const char *clock = getenv("SHIM_CLOCK");
    if (clock)
        shim_clock(atof(clock));
    if (fail && sscanf(fail, "%15[^:]:%d:%lu:%lu", group, &error, &first, &last) != 4)
        abort();
    if (kill && sscanf(kill, "%15[^:]:%lu", group, &first) != 2)
        abort();
    if (kill) {
        isKill = 1;
        last = first;
    }
    if (record)
        recording = (int)syscall(SYS_openat, AT_FDCWD, record,
                                 O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (count) {
        const int file =
            (int)syscall(SYS_openat, AT_FDCWD, count, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (syscall(SYS_ftruncate, file, 4096) == 0)
            counts = (uint64_t *)syscall(SYS_mmap, NULL, 4096, PROT_READ | PROT_WRITE, MAP_SHARED,
                                         file, 0);
        syscall(SYS_close, file);
    }
    active = 1;
}
void shim_end(void) {
    active = 0;
}

static int hit(const char *name) {
    if (!active || group[0] == '\0' || (strcmp(group, name) != 0 && strcmp(group, "all") != 0))
        return 0;
    const uint64_t number = __sync_add_and_fetch(&counts[0], 1);
    if (number < first || number > last)
        return 0;
    __sync_add_and_fetch(&counts[1], 1);
    if (isKill)
        syscall(SYS_kill, (long)syscall(SYS_getpid), 9);
    errno = error;
    return 1;
}

/* What is written down: a line of text, and behind a write its bytes. */
static void record(const char *what, int file, const char *path, int64_t at, const void *bytes,
                   size_t size) {
    char name[512] = "";
    char head[700];
    struct timespec t;
    if (recording < 0 || !active)
        return;
    if (path == NULL) {
        char link[64];
        snprintf(link, sizeof link, "/proc/self/fd/%d", file);
        const long length = syscall(SYS_readlinkat, AT_FDCWD, link, name, sizeof name - 1);
        name[length > 0 ? length : 0] = '\0';
        struct stat status;
        if (syscall(SYS_fstat, file, &status) != 0 || !S_ISREG(status.st_mode))
            return;
        path = name;
    }
    clock_gettime(CLOCK_MONOTONIC, &t);
    const int length =
        snprintf(head, sizeof head, "%.6f %s %ld %zu %s\n",
                 (double)t.tv_sec + (double)t.tv_nsec / 1e9, what, (long)at, size, path);
    const struct iovec pieces[] = {{head, (size_t)length},
                                   {(void *)(uintptr_t)bytes, bytes ? size : 0}};
    if (syscall(SYS_writev, recording, pieces, 2) < length)
        abort();
}

extern void *__libc_malloc(size_t), *__libc_calloc(size_t, size_t), *__libc_realloc(void *, size_t),
    *__libc_memalign(size_t, size_t);
static void *noMemory(void) {
    errno = ENOMEM;
    return NULL;
}
void *malloc(size_t size) {
    return hit("memory") ? noMemory() : __libc_malloc(size);
}
void *calloc(size_t count, size_t size) {
    return hit("memory") ? noMemory() : __libc_calloc(count, size);
}
void *realloc(void *old, size_t size) {
    return hit("memory") ? noMemory() : __libc_realloc(old, size);
}
void *aligned_alloc(size_t bound, size_t size) {
    return hit("memory") ? noMemory() : __libc_memalign(bound, size);
}

static int openFile(int folder, const char *path, int flags, mode_t mode) {
    if (hit("open"))
        return -1;
    const int file = (int)syscall(SYS_openat, folder, path, flags, mode);
    if (file >= 0 && (flags & O_CREAT) != 0)
        record("create", file, NULL, 0, NULL, 0);
    return file;
}
#define MODE                                                                                       \
    mode_t mode = 0;                                                                               \
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) {                                                    \
        va_list list;                                                                              \
        va_start(list, flags);                                                                     \
        mode = va_arg(list, mode_t);                                                               \
        va_end(list);                                                                              \
    }
int open(const char *path, int flags, ...) {
    MODE return openFile(AT_FDCWD, path, flags, mode);
}
int open64(const char *path, int flags, ...) {
    MODE return openFile(AT_FDCWD, path, flags, mode);
}
int openat(int folder, const char *path, int flags, ...) {
    MODE return openFile(folder, path, flags, mode);
}
int openat64(int folder, const char *path, int flags, ...) {
    MODE return openFile(folder, path, flags, mode);
}
int __open_2(const char *path, int flags) {
    return openFile(AT_FDCWD, path, flags, 0);
}
int __open64_2(const char *path, int flags) {
    return openFile(AT_FDCWD, path, flags, 0);
}

ssize_t write(int file, const void *bytes, size_t size) {
    if (file > 2 && hit("write"))
        return -1;
    return syscall(SYS_write, file, bytes, size);
}
ssize_t pwrite64(int file, const void *bytes, size_t size, off64_t at) {
    if (hit("write"))
        return -1;
    record("write", file, NULL, at, bytes, size);
    return syscall(SYS_pwrite64, file, bytes, size, at);
}
ssize_t pwrite(int file, const void *bytes, size_t size, off_t at) {
    return pwrite64(file, bytes, size, at);
}
ssize_t read(int file, void *bytes, size_t size) {
    return hit("read") ? -1 : syscall(SYS_read, file, bytes, size);
}
ssize_t pread64(int file, void *bytes, size_t size, off64_t at) {
    return hit("read") ? -1 : syscall(SYS_pread64, file, bytes, size, at);
}
ssize_t pread(int file, void *bytes, size_t size, off_t at) {
    return pread64(file, bytes, size, at);
}
static int synced(int file, long call) {
    if (hit("sync"))
        return -1;
    const int result = (int)syscall(call, file);
    if (result == 0) {
        struct stat status;
        char link[64], name[512] = "";
        snprintf(link, sizeof link, "/proc/self/fd/%d", file);
        if (syscall(SYS_fstat, file, &status) == 0 && S_ISDIR(status.st_mode) &&
            syscall(SYS_readlinkat, AT_FDCWD, link, name, sizeof name - 1) > 0)
            record("sync-folder", file, name, 0, NULL, 0);
        else
            record("sync", file, NULL, 0, NULL, 0);
    }
    return result;
}
int fsync(int file) {
    return synced(file, SYS_fsync);
}
int fdatasync(int file) {
    return synced(file, SYS_fdatasync);
}
int ftruncate64(int file, off64_t size) {
    if (hit("write"))
        return -1;
    record("truncate", file, NULL, size, NULL, 0);
    return (int)syscall(SYS_ftruncate, file, size);
}
int ftruncate(int file, off_t size) {
    return ftruncate64(file, size);
}
int rename(const char *from, const char *to) {
    if (hit("rename"))
        return -1;
    record("rename", -1, from, (int64_t)strlen(to), to, strlen(to));
    return (int)syscall(SYS_rename, from, to);
}
int unlink(const char *path) {
    if (hit("unlink"))
        return -1;
    record("unlink", -1, path, 0, NULL, 0);
    return (int)syscall(SYS_unlink, path);
}
#define FCNTL                                                                                      \
    va_list list;                                                                                  \
    va_start(list, command);                                                                       \
    void *argument = va_arg(list, void *);                                                         \
    va_end(list);                                                                                  \
    if ((command == F_SETLK || command == F_SETLKW) && hit("lock"))                                \
        return -1;                                                                                 \
    return (int)syscall(SYS_fcntl, file, command, argument);
int fcntl(int file, int command, ...) {
    FCNTL
}
int fcntl64(int file, int command, ...) {
    FCNTL
}
int stat(const char *path, struct stat *out) {
    return hit("stat") ? -1 : (int)syscall(SYS_newfstatat, AT_FDCWD, path, out, 0);
}
int lstat(const char *path, struct stat *out) {
    return hit("stat") ? -1
                       : (int)syscall(SYS_newfstatat, AT_FDCWD, path, out, AT_SYMLINK_NOFOLLOW);
}
int fstat(int file, struct stat *out) {
    return hit("stat") ? -1 : (int)syscall(SYS_fstat, file, out);
}
int faccessat(int folder, const char *path, int rights, int flags) {
    return hit("stat") ? -1 : (int)syscall(SYS_faccessat2, folder, path, rights, flags);
}
int stat64(const char *path, struct stat64 *out) {
    return stat(path, (struct stat *)out);
}
int lstat64(const char *path, struct stat64 *out) {
    return lstat(path, (struct stat *)out);
}
int fstat64(int file, struct stat64 *out) {
    return fstat(file, (struct stat *)out);
}
void *mmap64(void *at, size_t size, int protection, int flags, int file, off64_t offset) {
    return hit("map") ? MAP_FAILED
                      : (void *)syscall(SYS_mmap, at, size, protection, flags, file, offset);
}
void *mmap(void *at, size_t size, int protection, int flags, int file, off_t offset) {
    return mmap64(at, size, protection, flags, file, offset);
}
int epoll_create1(int flags) {
    return hit("event") ? -1 : (int)syscall(SYS_epoll_create1, flags);
}
int epoll_ctl(int set, int operation, int file, struct epoll_event *event) {
    return hit("event") ? -1 : (int)syscall(SYS_epoll_ctl, set, operation, file, event);
}
int eventfd(unsigned value, int flags) {
    return hit("event") ? -1 : (int)syscall(SYS_eventfd2, value, flags);
}
int timerfd_create(int clock, int flags) {
    return hit("event") ? -1 : (int)syscall(SYS_timerfd_create, clock, flags);
}
int timerfd_settime(int timer, int flags, const struct itimerspec *value, struct itimerspec *old) {
    return hit("event") ? -1 : (int)syscall(SYS_timerfd_settime, timer, flags, value, old);
}
int inotify_init1(int flags) {
    return hit("event") ? -1 : (int)syscall(SYS_inotify_init1, flags);
}
int inotify_add_watch(int watch, const char *path, uint32_t mask) {
    return hit("event") ? -1 : (int)syscall(SYS_inotify_add_watch, watch, path, mask);
}
int socket(int domain, int type, int protocol) {
    return hit("socket") ? -1 : (int)syscall(SYS_socket, domain, type, protocol);
}
int connect(int file, const struct sockaddr *address, socklen_t size) {
    return hit("socket") ? -1 : (int)syscall(SYS_connect, file, address, size);
}
ssize_t send(int file, const void *bytes, size_t size, int flags) {
    return hit("socket") ? -1 : syscall(SYS_sendto, file, bytes, size, flags, NULL, 0);
}
ssize_t recv(int file, void *bytes, size_t size, int flags) {
    return hit("socket") ? -1 : syscall(SYS_recvfrom, file, bytes, size, flags, NULL, NULL);
}
int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*function)(void *),
                   void *argument) {
    static int (*next)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    if (hit("thread"))
        return EAGAIN;
    if (next == NULL)
        next = (int (*)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *))(
            uintptr_t)dlsym(RTLD_NEXT, "pthread_create");
    return next(thread, attributes, function, argument);
}
