#include "collect/Intake.h"

#include "collect/Judge.h"
#include "collect/Moment.h"
#include "ingest/Gzip.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace velmora::collect {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int unavailable = 503;
constexpr int badRequest = 400;
/// For devices; why, the collector's own line tells.
constexpr const char *notStored = "what it brings cannot be stored now";
/// Before requests are let in again to see whether the sink takes them.
constexpr std::chrono::seconds troubleTime{5};
/// Of a batch, for others to come.
constexpr std::chrono::milliseconds gatherTime{2};
/// Of a body that the server's loop has the time for, and of what it unpacks to.
constexpr std::size_t smallBody = std::size_t{4} << 10;
constexpr std::size_t smallText = std::size_t{64} << 10;

bool isSmall(const std::string &body) {
    return body.size() <= smallBody && ingest::promisedLength(body) <= smallText;
}

} // namespace

Intake::Intake(Sink &sink, Quarantine &quarantine, EventLog &log, Metrics &metrics,
               std::size_t memory, unsigned workers)
    : sink_(sink), quarantine_(quarantine), log_(log), metrics_(metrics), memory_(memory) {
    for (unsigned i = 0; i < workers; ++i)
        workers_.emplace_back([this] { look(); });
    committer_ = std::thread([this] { commit(); });
}

Intake::~Intake() {
    {
        const std::lock_guard lock(takenMutex_);
        isEnding_ = true;
    }
    takenChanged_.notify_all();
    for (std::thread &worker : workers_)
        worker.join();
    {
        const std::lock_guard lock(soundMutex_);
        isLastSound_ = true;
    }
    soundChanged_.notify_one();
    committer_.join();
}

bool Intake::isReady() const {
    const Clock::duration::rep trouble = trouble_;
    return trouble == 0 || Clock::now().time_since_epoch() - Clock::duration(trouble) > troubleTime;
}

void Intake::take(Exchange &exchange) {
    if (isSmall(exchange.request.body)) {
        try {
            if (faultIn(exchange).empty())
                return handOn(exchange);
        } catch (const std::exception &) { // whoever looks again answers
        }
    }
    {
        const std::lock_guard lock(takenMutex_);
        taken_.push_back(&exchange);
    }
    takenChanged_.notify_one();
}

void Intake::look() {
    for (;;) {
        Exchange *exchange = nullptr;
        {
            std::unique_lock lock(takenMutex_);
            takenChanged_.wait(lock, [this] { return isEnding_ || !taken_.empty(); });
            if (taken_.empty())
                return;
            exchange = taken_.front();
            taken_.pop_front();
        }
        try {
            lookInto(*exchange);
        } catch (const std::exception &trouble) { // no memory, or no room for what is kept
            exchange->answer(unavailable, trouble.what());
        }
    }
}

/// Why the request will never be right.
std::string Intake::faultIn(Exchange &exchange) {
    std::string why = judge(exchange.request, exchange.kind, exchange.delivery);
    return why.empty() ? sink_.refusalOf(exchange.delivery) : why;
}

void Intake::lookInto(Exchange &exchange) {
    std::string why = faultIn(exchange);
    if (why.empty())
        return handOn(exchange);
    const std::string name = quarantine_.keep(exchange.request, why, exchange.peer);
    if (!name.empty())
        why += " (kept as " + name + ")";
    exchange.answer(badRequest, std::move(why));
}

void Intake::handOn(Exchange &exchange) {
    const std::size_t bytes = exchange.delivery.unpackedBytes;
    exchange.delivery.arrival = wallClock();
    exchange.delivery.peer = exchange.peer;
    bool isEnough = false;
    {
        const std::lock_guard lock(soundMutex_);
        if (metrics_.bytesHeld + bytes > memory_)
            throw SinkTrouble("what waits for the sink needs more than --memory");
        sound_.push_back(&exchange); // the last that may throw
        metrics_.bytesHeld += bytes;
        // Memory that was freed last is the quickest to have, for the next request.
        exchange.request.headers.clear();
        std::string().swap(exchange.request.body);
        isEnough = sound_.size() == wanted_;
    }
    if (isEnough)
        soundChanged_.notify_one();
}

/// As many as were under way a moment ago, as far as they come soon: a transaction costs much the
/// same for one request and for many. A request by itself does not wait.
std::vector<Exchange *> Intake::gather(std::size_t stored) {
    std::unique_lock lock(soundMutex_);
    wanted_ = std::max<std::size_t>(stored + sound_.size(), 1);
    const auto isEnough = [this] { return isLastSound_ || sound_.size() >= wanted_; };
    if (wanted_ > 1 && !soundChanged_.wait_for(lock, gatherTime, isEnough))
        wanted_ = 1;
    soundChanged_.wait(lock, isEnough);
    return std::exchange(sound_, {});
}

void Intake::commit() {
    for (std::vector<Exchange *> batch; !(batch = gather(batch.size())).empty();) {
        std::size_t bytes = 0;
        for (const Exchange *each : batch)
            bytes += each->delivery.unpackedBytes;
        commitBatch(batch);
        metrics_.bytesHeld -= bytes;
    }
}

void Intake::commitBatch(std::vector<Exchange *> batch) {
    const Clock::time_point begin = Clock::now();
    try {
        std::vector<const Delivery *> deliveries;
        deliveries.reserve(batch.size());
        for (const Exchange *each : batch)
            deliveries.push_back(&each->delivery);
        const std::vector<std::size_t> added = sink_.store(deliveries);
        for (std::size_t i = 0; i < batch.size(); ++i) {
            metrics_.eventsAdded += added[i];
            metrics_.eventsKnown += deliveries[i]->events.size() - added[i];
            batch[i]->decide(200);
        }
    } catch (const std::exception &trouble) {
        noteTrouble(trouble.what());
        for (Exchange *each : batch)
            each->decide(unavailable, notStored);
        return Exchange::giveBack(std::move(batch));
    }
    if (trouble_.exchange(0) != 0)
        log_.write("sink-recovered");
    metrics_.commitSeconds.add(Clock::now() - begin);
    Exchange::giveBack(std::move(batch));
}

void Intake::noteTrouble(const char *why) {
    ++metrics_.sinkFailures;
    if (trouble_.exchange(Clock::now().time_since_epoch().count()) == 0)
        log_.write("sink-failed", {{"why", why}});
}

} // namespace velmora::collect
