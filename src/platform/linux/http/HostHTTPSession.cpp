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
    std::uint64_t id = 0;
    std::size_t bodyBytes = 0;
    bool isStarted = false;
};

HostHTTPSession::HostHTTPSession(const HostTransport &transport, std::shared_ptr<RunLoops> runLoops,
                                 std::shared_ptr<SerialQueue> queue,
                                 const std::shared_ptr<SystemLog> &log,
                                 const std::shared_ptr<Activity> &activity,
                                 std::size_t responseLimit)
    : transport_(transport), runLoops_(std::move(runLoops)), queue_(std::move(queue)),
      responseLimit_(responseLimit), activity_(activity), account_(log) {}

void HostHTTPSession::send(HTTPRequest request, Completion completion) {
    runLoops_->mainQueue().async(
        [self = shared_from_this(), exchange = std::make_shared<Exchange>(
                                        Exchange{std::move(request), std::move(completion)})] {
            self->begin(exchange);
        });
}

void HostHTTPSession::begin(const Held &exchange) {
    activity_->begin();
    try {
        {
            const MutexLock lock(mutex_);
            exchange->id = ++lastId_;
            underWay_.push_back(exchange);
        }
        const auto self = shared_from_this();
        runLoops_->current().performAfterDelay(
            exchange->timeLimit(), exchange, [self, exchange] { self->giveUp(exchange); },
            transport_.timeout);
        queue_->async([self, exchange] { self->makeReady(exchange); });
    } catch (const std::bad_alloc &) {
        take(exchange);
        end(exchange, failedOutcome(URLErrorCode::unknown, ""));
    }
}

void HostHTTPSession::makeReady(const Held &exchange) {
    std::optional<PlatformError> refusal;
    if (!transport_.start)
        refusal = makeURLError(URLErrorCode::unknown,
                               "this library was built without libcurl, and the host has given no "
                               "transport: call velmora_set_transport before the start");
    else if (!exchange->request.body.make())
        refusal = makeURLError(URLErrorCode::unknown, "out of memory; nothing was sent");
    else
        refusal = checkRequest(exchange->request);
    runLoops_->mainQueue().async([self = shared_from_this(), exchange, refusal] {
        refusal ? self->refuse(exchange, *refusal) : self->start(exchange);
    });
}

void HostHTTPSession::refuse(const Held &exchange, const PlatformError &refusal) {
    account_.noteTrouble(refusal);
    if (take(exchange))
        end(exchange, {refusal, std::nullopt, {}});
}

void HostHTTPSession::start(const Held &exchange) {
    {
        const MutexLock lock(mutex_);
        if (std::ranges::find(underWay_, exchange) == underWay_.end())
            return;
    }
    exchange->bodyBytes = exchange->request.body.size();
    exchange->isStarted = true;
    bool hasThrown = true;
    callGuarded(account_.log(), "The host's transport", [&] {
        transport_.start(transport_.context, exchange->id, exchange->request);
        hasThrown = false;
    });
    if (hasThrown && take(exchange))
        end(exchange, failedOutcome(URLErrorCode::unknown, "the host's transport threw"));
}

void HostHTTPSession::giveUp(const Held &exchange) {
    if (!take(exchange))
        return;
    if (transport_.cancel && exchange->isStarted)
        callGuarded(account_.log(), "The host's transport",
                    [&] { transport_.cancel(transport_.context, exchange->id); });
    end(exchange,
        failedOutcome(URLErrorCode::timedOut, "the host's transport gave no answer in time"));
}

bool HostHTTPSession::take(const Held &exchange) {
    const MutexLock lock(mutex_);
    return std::erase(underWay_, exchange) > 0;
}

bool HostHTTPSession::answer(std::uint64_t id, HTTPOutcome outcome) {
    if (outcome.body.size() > responseLimit_)
        outcome = failedOutcome(
            URLErrorCode::dataLengthExceedsMaximum,
            formatText("the response's body is longer than %lu bytes", responseLimit_));
    const MutexLock lock(mutex_);
    const auto found =
        std::ranges::find_if(underWay_, [id](const Held &exchange) { return exchange->id == id; });
    if (found == underWay_.end())
        return false;
    // Within the lock, so that the exchange is either over or still waits for its time limit.
    runLoops_->mainQueue().async([self = shared_from_this(), exchange = *found,
                                  outcome = std::move(outcome)] { self->end(exchange, outcome); });
    underWay_.erase(found);
    return true;
}

void HostHTTPSession::end(const Held &exchange, HTTPOutcome outcome) {
    callGuarded(account_.log(), "The end of an HTTP exchange",
                [&] { runLoops_->current().cancelPreviousPerformRequests(exchange->timeLimit()); });
    if (!outcome.error)
        account_.clearTrouble();
    outcome.bodyBytes = exchange->bodyBytes;
    account_.complete(std::move(exchange->completion), outcome);
    activity_->end();
}

} // namespace vmr
