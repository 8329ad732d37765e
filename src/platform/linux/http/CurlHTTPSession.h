#pragma once

#include "platform/linux/http/CurlExchange.h"
#include "platform/linux/http/ExchangeAccount.h"
#include "platform/linux/loops/ThreadSerialQueues.h"

#include <memory>

namespace vmr {

/// HTTP over libcurl: one thread for all exchanges, started by the first request, which carries one
/// after the other over a connection that is kept. While there is none it sleeps without a wake-up.
/// https only, http for loopback addresses alone; TLS 1.2 or newer, always verified. No redirect is
/// followed, no cookie kept, nothing cached. Every failure, from an address that cannot be used to
/// a thread that cannot be started, is an outcome in NSURLErrorDomain; nothing is thrown.
///
/// Completions run on the session's thread; when the system refuses the thread, within `send`.
/// Never destroyed: its thread waits for requests as long as the process lives.
class CurlHTTPSession final : public HTTPSession {
public:
    CurlHTTPSession(const CurlOptions &options, SystemLog &log, Activity &activity);

    void send(HTTPRequest request, Completion completion) override;

private:
    void run(CurlExchange &exchange);
    /// False with what forbids the exchange as its outcome.
    bool prepare(CurlExchange &exchange);
    /// Moves the exchange on, and waits. False at its end.
    bool advance(CurlExchange &exchange);
    bool hasEnded(CurlExchange &exchange);

    const CurlOptions options_;
    const std::shared_ptr<ThreadSerialQueue> queue_;

    // The thread's own.
    ExchangeAccount account_;
    CURLM *multi_ = nullptr;
};

} // namespace vmr
