#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace velmora::ingest {

/// How an answer comes to its end.
enum class Ending { whole, cutOff, none };

/// What the service answers a request with.
struct Answer {
    int status = 200;
    std::string body;
    std::chrono::duration<double> delay{0};
    Ending ending = Ending::whole;
    /// Of the redirect; else empty.
    std::string location;
    /// Of the fault that was asked for; empty for an answer put together with other commands.
    std::string fault;

    /// As lines and the page give it: 0 for no answer at all.
    int shownStatus() const { return ending == Ending::none ? 0 : status; }
};

/// The answers: read by the server's threads, changed by commands while the server runs.
class Answers {
public:
    explicit Answers(Answer first) : current_(std::move(first)) {}

    /// The answer for a request that has come.
    Answer take();
    Answer current() const;
    /// What the next request alone gets.
    std::optional<Answer> next() const;

    /// Called after each change, on the thread that made it. Set before the first one.
    void onChange(std::function<void()> changed) { changed_ = std::move(changed); }

    void setStatus(int status);
    void setBody(std::string body);
    void setDelay(double seconds);
    /// From now on, or for the next request alone.
    void set(Answer answer);
    void setNext(Answer answer);

private:
    void change(const std::function<void()> &work);

    std::function<void()> changed_ = [] {};
    mutable std::mutex mutex_;
    Answer current_;
    std::optional<Answer> next_;
};

constexpr int lowestStatus = 200; // a sender waits for what follows a lower one
constexpr int highestStatus = 599;
constexpr double longestDelay = 3600;

} // namespace velmora::ingest
