#pragma once

#include "platform/Mutex.h"

#include <curl/curl.h>

#include <chrono>
#include <list>

namespace vmr {

/// The process's use of libcurl: its global initialisation, and the way out of it when the process
/// ends. Never destroyed. libcurl counts initialisations, and ours is never taken back, so a host
/// may initialise and clean up libcurl for itself at any time, before or after.
///
/// `exit` runs OpenSSL's clean-up while threads still run. An exit handler that comes before it
/// therefore asks every thread to leave the library, waits a bounded time until they have, and
/// keeps them out. In a forked child it does nothing.
class CurlLibrary {
public:
    static CurlLibrary &shared();

    /// Arranges for the process's end. Called by the first thread that will use the library,
    /// before the library itself can register exit handlers.
    void prepare();
    /// Initialises the library unless that is done. Called within a `Use`. False when it cannot be.
    bool start() VMR_EXCLUDES(startMutex_);

    /// A handle, kept for ever, whose polls must be interrupted when the process ends.
    void add(CURLM *multi) VMR_EXCLUDES(mutex_);

    /// Marks the time a thread spends inside the library. Once the process is ending, the
    /// constructor does not return.
    class Use {
    public:
        Use();
        ~Use();
        Use(const Use &) = delete;
        Use &operator=(const Use &) = delete;
    };

private:
    CurlLibrary() = default;

    static void atProcessEnd();
    void keepThreadsOut() VMR_EXCLUDES(mutex_);

    Mutex startMutex_;
    bool registered_ VMR_GUARDED_BY(startMutex_) = false;
    bool started_ VMR_GUARDED_BY(startMutex_) = false;

    Mutex mutex_;
    ConditionVariable changed_;
    bool ending_ VMR_GUARDED_BY(mutex_) = false;
    std::chrono::steady_clock::time_point deadline_ VMR_GUARDED_BY(mutex_);
    int threadsInside_ VMR_GUARDED_BY(mutex_) = 0;
    std::list<CURLM *> multis_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
