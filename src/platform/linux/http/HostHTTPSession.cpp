#include "platform/linux/http/HostHTTPSession.h"

#include "platform/Activity.h"
#include "platform/Format.h"
#include "platform/GuardedCall.h"
#include "platform/RunLoop.h"
#include "platform/SerialQueue.h"
#include "platform/linux/http/RequestCheck.h"
#include "platform/linux/http/URLErrors.h"

#include <algorithm>
#include <utility>

namespace vmr {

struct HostHTTPSession::Exchange {
    DelayedCallKey timeLimit() const { return {this, "timeLimit", {}}; }

    HTTPRequest request;
    Completion completion;
    /// Has an error where nothing may be sent.
    HTTPOutcome refusal;
    /// Of whoever takes the exchange.
    HTTPOutcome outcome;
    std::uint64_t id = 0;
    bool isStarted = false;
};

HostHTTPSession::HostHTTPSession(const HostTransport &transport, RunLoops &runLoops,
                                 std::shared_ptr<SerialQueue> queue, SystemLog &log,
                                 Activity &activity, std::size_t responseLimit)
    : transport_(transport), runLoops_(runLoops), queue_(std::move(queue)),
      responseLimit_(responseLimit), activity_(activity), account_(log) {}

void HostHTTPSession::send(HTTPRequest request, Completion completion) {
    const auto exchange = std::make_shared<Exchange>();
    exchange->request = std::move(request);
    exchange->completion = std::move(completion);
    proceed(&HostHTTPSession::begin, exchange);
}

void HostHTTPSession::proceed(void (HostHTTPSession::*step)(const Held &), const Held &exchange) {
    runLoops_.mainQueue().async([this, step, exchange] { (this->*step)(exchange); });
}

void HostHTTPSession::begin(const Held &exchange) {
    activity_.begin();
    try {
        {
            const MutexLock lock(mutex_);
            exchange->id = ++lastId_;
            underWay_.push_back(exchange);
        }
        runLoops_.current().performAfterDelay(
            exchange->timeLimit(), exchange, [this, exchange] { giveUp(exchange); },
            transport_.timeout);
        queue_->async([this, exchange] { makeReady(exchange); });
    } catch (const std::bad_alloc &) {
        take(exchange);
        fail(exchange->outcome, URLErrorCode::unknown, "");
        end(exchange);
    }
}

void HostHTTPSession::makeReady(const Held &exchange) {
    if (!transport_.start)
        fail(exchange->refusal, URLErrorCode::unknown,
             "this library was built without libcurl, and the host has given no transport: call "
             "velmora_set_transport before the start");
    else if (!exchange->request.body.make())
        fail(exchange->refusal, URLErrorCode::unknown, "out of memory; nothing was sent");
    else
        checkRequest(exchange->request, exchange->refusal);
    proceed(&HostHTTPSession::start, exchange);
}

void HostHTTPSession::start(const Held &exchange) {
    if (exchange->refusal.error) {
        account_.noteTrouble(*exchange->refusal.error);
        if (take(exchange)) {
            exchange->outcome = std::move(exchange->refusal);
            end(exchange);
        }
        return;
    }
    {
        const MutexLock lock(mutex_);
        if (std::ranges::find(underWay_, exchange) == underWay_.end())
            return;
    }
    exchange->isStarted = true;
    bool hasThrown = true;
    callGuarded(account_.log(), "The host's transport", [&] {
        transport_.start(transport_.context, exchange->id, exchange->request);
        hasThrown = false;
    });
    if (hasThrown && take(exchange)) {
        fail(exchange->outcome, URLErrorCode::unknown, "the host's transport threw");
        end(exchange);
    }
}

void HostHTTPSession::giveUp(const Held &exchange) {
    if (!take(exchange))
        return;
    if (transport_.cancel && exchange->isStarted)
        callGuarded(account_.log(), "The host's transport",
                    [&] { transport_.cancel(transport_.context, exchange->id); });
    fail(exchange->outcome, URLErrorCode::timedOut, "the host's transport gave no answer in time");
    end(exchange);
}

bool HostHTTPSession::take(const Held &exchange) {
    const MutexLock lock(mutex_);
    return std::erase(underWay_, exchange) > 0;
}

bool HostHTTPSession::answer(std::uint64_t id, HTTPOutcome &&outcome) {
    if (outcome.body.size() > responseLimit_)
        fail(outcome, URLErrorCode::dataLengthExceedsMaximum,
             formatText("the response's body is longer than %lu bytes", responseLimit_));
    const MutexLock lock(mutex_);
    const auto found =
        std::ranges::find_if(underWay_, [id](const Held &exchange) { return exchange->id == id; });
    if (found == underWay_.end())
        return false;
    (*found)->outcome = std::move(outcome);
    // Within the lock, so that the exchange is either over or still waits for its time limit.
    proceed(&HostHTTPSession::end, *found);
    underWay_.erase(found);
    return true;
}

void HostHTTPSession::end(const Held &exchange) {
    callGuarded(account_.log(), "The end of an HTTP exchange",
                [&] { runLoops_.current().cancelPreviousPerformRequests(exchange->timeLimit()); });
    HTTPOutcome &outcome = exchange->outcome;
    if (!outcome.error)
        account_.clearTrouble();
    if (exchange->isStarted)
        outcome.bodyBytes = exchange->request.body.size();
    account_.complete(std::move(exchange->completion), outcome);
    activity_.end();
}

} // namespace vmr
