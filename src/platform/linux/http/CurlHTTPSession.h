#pragma once

#include "platform/HTTPSession.h"
#include "platform/linux/http/CurlOptions.h"

#include <memory>

namespace vmr {

class Activity;
class CurlWorker;
class SystemLog;

/// HTTP over libcurl: one thread for all exchanges, started by the first request.
/// https only, http for loopback addresses alone; TLS 1.2 or newer, always verified. No redirect is
/// followed, no cookie kept, nothing cached. Every failure, from an address that cannot be used to
/// a thread that cannot be started, is an outcome in NSURLErrorDomain; nothing is thrown.
///
/// Completions run on the session's thread; when the system refuses the thread, within `send`.
class CurlHTTPSession final : public HTTPSession {
public:
    CurlHTTPSession(const CurlOptions &options, const std::shared_ptr<SystemLog> &log,
                    const std::shared_ptr<Activity> &activity);
    /// Cancels what is under way and waits for the thread; the product never destroys its session.
    ~CurlHTTPSession() override;

    void send(HTTPRequest request, Completion completion) override;

private:
    const std::shared_ptr<CurlWorker> worker_;
};

} // namespace vmr
