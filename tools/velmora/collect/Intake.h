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

/// The road of a whole request: threads that look into it, then one that stores with it all others
/// that wait by then, then its answer. Takes over exchanges from any thread.
class Intake {
public:
    Intake(Sink &sink, Quarantine &quarantine, EventLog &log, Metrics &metrics, unsigned workers);
    Intake(const Intake &) = delete;
    Intake &operator=(const Intake &) = delete;
    /// Answers what it has taken over.
    ~Intake();

    void take(Exchange &exchange);
    /// False for a while after the sink refused a batch.
    bool isReady() const;

private:
    struct Waiting {
        Exchange *exchange;
        Delivery delivery;
    };

    void look();
    void takeShare(std::vector<Exchange *> &share);
    void lookInto(Exchange &exchange);
    void commit();
    void commitBatch(const std::vector<Waiting> &batch);
    void noteTrouble(const char *why);

    Sink &sink_;
    Quarantine &quarantine_;
    EventLog &log_;
    Metrics &metrics_;
    const unsigned workerCount_;

    std::mutex takenMutex_;
    std::condition_variable takenChanged_;
    std::deque<Exchange *> taken_;
    bool isEnding_ = false;

    std::mutex soundMutex_;
    std::condition_variable soundChanged_;
    std::vector<Waiting> sound_;
    bool isLastSound_ = false;

    /// Of the steady clock; 0: the last batch was stored.
    std::atomic<std::chrono::steady_clock::duration::rep> trouble_{0};
    std::vector<std::thread> workers_;
    std::thread committer_;
};

} // namespace velmora::collect
