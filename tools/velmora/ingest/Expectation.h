#pragma once

#include "ingest/Report.h"

#include <chrono>
#include <map>
#include <mutex>

namespace velmora::ingest {

/// What a job waits for: so many events of sound requests within a time. An event that comes again
/// in a later request counts once. From any thread.
class Expectation {
public:
    Expectation(std::size_t events, std::chrono::duration<double> time);
    Expectation(const Expectation &) = delete;
    Expectation &operator=(const Expectation &) = delete;
    ~Expectation();

    void note(const Report &report);
    void noteRefused(const std::string &why);
    /// The answer to what was noted has gone: only now may the process end.
    void answered();

    /// Becomes readable when everything came and was answered.
    int descriptor() const { return descriptor_; }
    /// For poll: how long to wait for it at most.
    int millisecondsLeft() const;

    bool isMet() const;
    /// {"expected":3,"came":2,"reasons":["…"]}
    nlohmann::ordered_json result() const;

private:
    void addReason(const std::string &text);
    std::size_t came() const;

    const std::size_t expected_;
    const std::chrono::steady_clock::time_point end_;
    const int descriptor_;
    mutable std::mutex mutex_;
    std::size_t requests_ = 0;
    std::size_t unanswered_ = 0;
    /// How often an identifier stood in one request at most: a start makes two equal events.
    std::map<std::string, std::size_t> occurrences_;
    std::vector<std::string> reasons_;
    std::size_t untold_ = 0;
};

} // namespace velmora::ingest
