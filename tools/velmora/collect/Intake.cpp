#include "collect/Intake.h"

#include "collect/Judge.h"
#include "collect/Moment.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace velmora::collect {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int unavailable = 503;
constexpr int badRequest = 400;
/// Before requests are let in again to see whether the sink takes them.
constexpr std::chrono::seconds troubleTime{5};
/// Of what a thread looks into before it wakes the one that stores.
constexpr std::size_t mostInShare = 32;
constexpr std::size_t bytesOfShare = std::size_t{64} << 10;

} // namespace

Intake::Intake(Sink &sink, Quarantine &quarantine, EventLog &log, Metrics &metrics,
               unsigned workers)
    : sink_(sink), quarantine_(quarantine), log_(log), metrics_(metrics), workerCount_(workers) {
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
    {
        const std::lock_guard lock(takenMutex_);
        taken_.push_back(&exchange);
    }
    takenChanged_.notify_one();
}

/// Small requests many at a time, large ones alone; none at the end.
void Intake::takeShare(std::vector<Exchange *> &share) {
    share.clear();
    std::unique_lock lock(takenMutex_);
    takenChanged_.wait(lock, [this] { return isEnding_ || !taken_.empty(); });
    const std::size_t most =
        std::min(mostInShare, (taken_.size() + workerCount_ - 1) / workerCount_);
    for (std::size_t bytes = 0; share.size() < most && bytes < bytesOfShare; taken_.pop_front()) {
        share.push_back(taken_.front());
        bytes += share.back()->request.body.size();
    }
}

void Intake::look() {
    std::vector<Exchange *> share;
    share.reserve(mostInShare);
    for (takeShare(share); !share.empty(); takeShare(share)) {
        for (Exchange *exchange : share)
            try {
                lookInto(*exchange);
            } catch (const std::exception &trouble) { // no memory, or no room for what is kept
                exchange->answer(unavailable, trouble.what());
            }
        soundChanged_.notify_one();
    }
}

void Intake::lookInto(Exchange &exchange) {
    Judgement judgement = judge(exchange.request, exchange.kind);
    if (judgement.status != 200) {
        const std::string name = quarantine_.keep(exchange.request, judgement.why, exchange.peer);
        if (!name.empty())
            judgement.why += " (kept as " + name + ")";
        return exchange.answer(badRequest, std::move(judgement.why));
    }
    judgement.delivery.arrival = wallClock();
    judgement.delivery.peer = exchange.peer;
    const std::lock_guard lock(soundMutex_);
    sound_.push_back({&exchange, std::move(judgement.delivery)});
}

void Intake::commit() {
    for (;;) {
        std::vector<Waiting> batch;
        {
            std::unique_lock lock(soundMutex_);
            soundChanged_.wait(lock, [this] { return isLastSound_ || !sound_.empty(); });
            if (sound_.empty())
                return;
            batch.swap(sound_);
        }
        commitBatch(batch);
    }
}

void Intake::commitBatch(const std::vector<Waiting> &batch) {
    const Clock::time_point begin = Clock::now();
    std::vector<std::size_t> added;
    try {
        std::vector<const Delivery *> deliveries;
        deliveries.reserve(batch.size());
        for (const Waiting &each : batch)
            deliveries.push_back(&each.delivery);
        added = sink_.store(deliveries);
    } catch (const std::exception &trouble) {
        noteTrouble(trouble.what());
        for (const Waiting &each : batch)
            each.exchange->answer(unavailable, trouble.what());
        return;
    }
    if (trouble_.exchange(0) != 0)
        log_.write("sink-recovered");
    metrics_.commitSeconds.add(Clock::now() - begin);
    for (std::size_t i = 0; i < batch.size(); ++i) {
        metrics_.eventsAdded += added[i];
        metrics_.eventsKnown += batch[i].delivery.events.size() - added[i];
        batch[i].exchange->answer(200);
    }
}

void Intake::noteTrouble(const char *why) {
    ++metrics_.sinkFailures;
    if (trouble_.exchange(Clock::now().time_since_epoch().count()) == 0)
        log_.write("sink-failed", {{"why", why}});
}

} // namespace velmora::collect
