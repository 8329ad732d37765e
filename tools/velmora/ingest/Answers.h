#pragma once

#include <chrono>
#include <mutex>
#include <string>

namespace velmora::ingest {

/// What the service answers a request with.
struct Answer {
    int status = 200;
    std::string body;
    std::chrono::duration<double> delay{0};
};

/// The current answer: read by the server's threads, changed by commands while the server runs.
class Answers {
public:
    explicit Answers(Answer first) : current_(std::move(first)) {}

    Answer current() const;
    void setStatus(int status);
    void setBody(std::string body);
    void setDelay(double seconds);

private:
    mutable std::mutex mutex_;
    Answer current_;
};

constexpr int lowestStatus = 200; // a sender waits for what follows a lower one
constexpr int highestStatus = 599;
constexpr double longestDelay = 3600;

} // namespace velmora::ingest
