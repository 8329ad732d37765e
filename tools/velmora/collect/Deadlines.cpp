#include "collect/Deadlines.h"

#include <sys/socket.h>

namespace velmora::collect {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds idleTime{60};
constexpr std::chrono::seconds idleTimeOfFull{6};
constexpr std::chrono::seconds patience{20};
constexpr std::chrono::seconds betweenSweeps{1};

} // namespace

Deadlines::Deadlines(std::size_t most) : most_(most), thread_([this] { watch(); }) {}

Deadlines::~Deadlines() {
    {
        const std::lock_guard lock(mutex_);
        isStopped_ = true;
    }
    stops_.notify_one();
    thread_.join();
}

Deadlines::Connection *Deadlines::opened(int descriptor, std::string peer) {
    auto connection = std::make_unique<Connection>();
    connection->descriptor = descriptor;
    connection->peer = std::move(peer);
    enter(*connection, Phase::idle);
    const std::lock_guard lock(mutex_);
    open_.push_front(std::move(connection));
    open_.front()->place = open_.begin();
    return open_.front().get();
}

void Deadlines::closed(Connection *connection) {
    const std::lock_guard lock(mutex_);
    open_.erase(connection->place);
}

void Deadlines::enter(Connection &connection, Phase phase) {
    const auto time = phase == Phase::idle ? idleTime : patience;
    connection.end = (Clock::now() + time).time_since_epoch().count();
    connection.phase = phase;
}

void Deadlines::sweepLocked() {
    const bool isFull = open_.size() > most_ / 10 * 9;
    const Clock::time_point now = Clock::now();
    for (const auto &each : open_) {
        Phase phase = each->phase;
        Clock::time_point end{Clock::duration(each->end)};
        if (isFull && phase == Phase::idle)
            end -= idleTime - idleTimeOfFull;
        if (phase == Phase::work || phase == Phase::ended || now < end)
            continue;
        if (!each->phase.compare_exchange_strong(phase, Phase::ended))
            continue; // a request has begun, or ended, just now
        // The loop sees the end of the connection, and closes it.
        shutdown(each->descriptor, SHUT_RDWR);
    }
}

void Deadlines::watch() {
    std::unique_lock lock(mutex_);
    while (!stops_.wait_for(lock, betweenSweeps, [this] { return isStopped_; }))
        sweepLocked();
}

} // namespace velmora::collect
