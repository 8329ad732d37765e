#pragma once

#include "platform/linux/http/CurlExchange.h"
#include "platform/linux/http/CurlMulti.h"
#include "platform/linux/http/ExchangeAccount.h"
#include "platform/linux/loops/ThreadSerialQueues.h"

#include <atomic>
#include <memory>

namespace vmr {

/// HTTP over libcurl: one thread for all exchanges, started by the first request, which carries one
/// after the other over a connection that is kept. While there is none it sleeps without a wake-up.
/// https only, http for loopback addresses alone; TLS 1.2 or newer, always verified. No redirect is
/// followed, no cookie kept, nothing cached. Every failure, from an address that cannot be used to
/// a thread that cannot be started, is an outcome in NSURLErrorDomain; nothing is thrown.
///
/// Completions run on the session's thread; when the system refuses the thread, within `send`.
class CurlHTTPSession final : public HTTPSession {
public:
    CurlHTTPSession(const CurlOptions &options, const std::shared_ptr<SystemLog> &log,
                    const std::shared_ptr<Activity> &activity);
    /// Cancels what is under way and waits for the thread, which must be another one; the product
    /// never destroys its session.
    ~CurlHTTPSession();

    void send(HTTPRequest request, Completion completion) override;

private:
    void run(std::shared_ptr<CurlExchange> exchange);
    /// What forbids the exchange, if anything does.
    std::optional<PlatformError> prepare(CurlExchange &exchange);
    /// Moves the exchange on, and waits unless that was its end. Whether it was.
    bool advance(CurlExchange &exchange, HTTPOutcome &outcome);
    bool hasEnded(CurlExchange &exchange, HTTPOutcome &outcome);

    const CurlOptions options_;
    const std::shared_ptr<ThreadSerialQueue> queue_;
    std::atomic<bool> stopping_{false};

    // The thread's own.
    ExchangeAccount account_;
    CurlMulti multi_;
};

} // namespace vmr
