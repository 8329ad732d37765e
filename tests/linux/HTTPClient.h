#pragma once

#include "platform/Activity.h"
#include "platform/linux/http/CurlHTTPSession.h"
#include "support/Kept.h"
#include "support/RecordingLog.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>

namespace vmr::test {

/// A session that a test uses as if it answered at once. It outlives the test, as all do.
class HTTPClient {
public:
    explicit HTTPClient(const CurlOptions &options = {})
        : session(&kept<CurlHTTPSession>(options, *log, *activity)) {}

    std::future<HTTPOutcome> start(HTTPRequest request) {
        auto promise = std::make_shared<std::promise<HTTPOutcome>>();
        std::future<HTTPOutcome> outcome = promise->get_future();
        session->send(std::move(request),
                      [promise](const HTTPOutcome &ended) { promise->set_value(ended); });
        return outcome;
    }
    HTTPOutcome send(HTTPRequest request) {
        std::future<HTTPOutcome> outcome = start(std::move(request));
        if (outcome.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
            ADD_FAILURE() << "the exchange did not end";
            return {};
        }
        return outcome.get();
    }
    HTTPOutcome get(const std::string &url) { return send({url, std::nullopt, {}, {}}); }

    RecordingLog *log = &kept<RecordingLog>();
    Activity *activity = &kept<Activity>();
    CurlHTTPSession *session;
};

inline std::int64_t errorCode(const HTTPOutcome &outcome) {
    return outcome.error ? outcome.error->code : 0;
}

inline std::string errorDetail(const HTTPOutcome &outcome) {
    if (!outcome.error)
        return {};
    const Value detail = valueForKey(outcome.error->userInfo, "NSDebugDescription");
    return detail.asString() != nullptr ? *detail.asString() : std::string();
}

} // namespace vmr::test
