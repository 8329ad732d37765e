#pragma once

#include "collect/EventLog.h"
#include "collect/Exchange.h"
#include "collect/Metrics.h"
#include "collect/Quarantine.h"
#include "collect/Sink.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace velmora::collect {

/// The road of a whole request: a look into it, then a thread that stores with it all others that
/// wait by then, then its answer. Small requests are looked into where they come, which is quicker
/// than handing them on; large ones, and those that are refused, by threads of their own. Takes
/// over exchanges from any thread.
class Intake {
public:
    /// `memory`: of bodies as received, and of what they unpack to until it is stored.
    Intake(Sink &sink, Quarantine &quarantine, EventLog &log, Metrics &metrics, std::size_t memory,
           unsigned workers);
    Intake(const Intake &) = delete;
    Intake &operator=(const Intake &) = delete;
    /// Answers what it has taken over.
    ~Intake();

    void take(Exchange &exchange);
    /// False for a while after the sink refused a batch.
    bool isReady() const;

private:
    void look();
    std::string faultIn(Exchange &exchange);
    void lookInto(Exchange &exchange);
    void handOn(Exchange &exchange);
    void commit();
    std::vector<Exchange *> gather(std::size_t stored);
    void commitBatch(std::vector<Exchange *> batch);
    void noteTrouble(const char *why);

    Sink &sink_;
    Quarantine &quarantine_;
    EventLog &log_;
    Metrics &metrics_;
    const std::size_t memory_;

    std::mutex takenMutex_;
    std::condition_variable takenChanged_;
    std::deque<Exchange *> taken_;
    bool isEnding_ = false;

    std::mutex soundMutex_;
    std::condition_variable soundChanged_;
    std::vector<Exchange *> sound_;
    /// So many of them wake the thread that stores.
    std::size_t wanted_ = 1;
    bool isLastSound_ = false;

    /// Of the steady clock; 0: the last batch was stored.
    std::atomic<std::chrono::steady_clock::duration::rep> trouble_{0};
    std::vector<std::thread> workers_;
    std::thread committer_;
};

} // namespace velmora::collect
