#include "platform/linux/http/CurlLibrary.h"

#include "platform/linux/ForkedChild.h"

#include <openssl/crypto.h>

#include <chrono>
#include <cstdlib>
#include <utility>

namespace vmr {
namespace {

// Far longer than any step inside the library takes, short enough for an impatient user.
constexpr std::chrono::seconds longestWaitAtEnd{2};

} // namespace

CurlLibrary &CurlLibrary::shared() {
    static CurlLibrary &library = *new CurlLibrary;
    return library;
}

void CurlLibrary::prepare() {
    // Covers a process that ends before the library's initialisation has registered anything. A
    // failure leaves only the later registrations.
    static const int registered = std::atexit(atProcessEnd);
    static_cast<void>(registered);
}

bool CurlLibrary::start() {
    const MutexLock lock(startMutex_);
    if (started_)
        return true;
    if (!registered_) {
        registered_ = true;
        // OpenSSL registers its clean-up at its first use. Handlers run in the reverse order, so
        // ours comes before it from the last line on. A process that ends in between reaches us
        // from within the clean-up, before anything is freed. TLS is initialised only after that:
        // what it registers inside the clean-up would come before us there.
        ::OPENSSL_atexit(atProcessEnd);
        ::OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
        std::atexit(atProcessEnd);
    }
    started_ = ::curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return started_;
}

void CurlLibrary::add(CURLM *multi) {
    const MutexLock lock(mutex_);
    multis_.push_back(multi);
    // The process began to end while the handle was being made.
    if (ending_)
        ::curl_multi_wakeup(multi);
}

CurlLibrary::Use::Use() {
    CurlLibrary &library = shared();
    const MutexLock lock(library.mutex_);
    while (library.ending_)
        library.changed_.wait(library.mutex_);
    ++library.threadsInside_;
}

CurlLibrary::Use::~Use() {
    CurlLibrary &library = shared();
    const MutexLock lock(library.mutex_);
    --library.threadsInside_;
    if (library.ending_)
        library.changed_.notify_all();
}

void CurlLibrary::atProcessEnd() {
    if (!isForkedChild())
        shared().keepThreadsOut();
}

void CurlLibrary::keepThreadsOut() {
    const MutexLock lock(mutex_);
    if (!std::exchange(ending_, true)) // else an earlier handler has waited already
        deadline_ = std::chrono::steady_clock::now() + longestWaitAtEnd;
    for (CURLM *multi : multis_)
        ::curl_multi_wakeup(multi);
    while (threadsInside_ > 0) {
        if (changed_.wait_until(mutex_, deadline_) == std::cv_status::timeout)
            return;
    }
}

} // namespace vmr
