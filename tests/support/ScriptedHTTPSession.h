#pragma once

#include "platform/HTTPSession.h"
#include "platform/Mutex.h"

#include <cstddef>
#include <vector>

namespace vmr::test {

/// Records what is sent; the test answers each exchange by hand. The completion runs on the thread
/// that answers.
class ScriptedHTTPSession final : public HTTPSession {
public:
    void send(HTTPRequest request, Completion completion) override;

    /// Called with each request that is sent, before anything can be answered.
    void setOnSent(std::function<void(HTTPRequest)> told) { onSent_ = std::move(told); }
    /// Requests that were sent, in order.
    std::vector<HTTPRequest> sent() const;
    std::size_t sentCount() const { return sent().size(); }
    /// Answers the n-th request that was sent (from 0).
    void answer(std::size_t index, std::int64_t status, std::string body = "");
    void complete(std::size_t index, const HTTPOutcome &outcome);

private:
    mutable Mutex mutex_;
    std::function<void(HTTPRequest)> onSent_;
    std::vector<std::pair<HTTPRequest, Completion>> sent_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr::test
