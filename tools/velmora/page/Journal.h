#pragma once

#include "page/Exchange.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

namespace velmora::page {

using Kept = std::shared_ptr<const Exchange>;

/// Numbers of everything that came, also of what is no longer kept.
struct Totals {
    std::uint64_t requests = 0;
    std::uint64_t events = 0;
    std::uint64_t wrong = 0;
    std::uint64_t failed = 0;
};

/// What came within five seconds.
struct Slice {
    /// Milliseconds since 1970.
    std::int64_t begin = 0;
    Totals totals;
};

/// The latest requests. Bounded in number and in bytes, so that older ones go. From any thread.
class Journal {
public:
    static constexpr std::size_t mostKept = 1000;

    /// Gives it its number.
    Kept add(Exchange exchange);
    /// Forgets all that is kept; numbers go on.
    void clear();
    /// Tells those who wait that there is news beside the requests.
    void touch();

    Kept find(std::uint64_t number) const;
    /// In the order of their numbers, from the one behind `number` on.
    std::vector<Kept> after(std::uint64_t number) const;

    /// The last ten minutes that something came in; empty slices are left out.
    std::vector<Slice> slices() const;

    struct State {
        /// Numbers of the oldest that is kept and of the latest that came; oldest is latest + 1
        /// when nothing is kept.
        std::uint64_t oldest = 1;
        std::uint64_t latest = 0;
        /// Grows with each change that is no request.
        std::uint64_t version = 0;
        Totals totals;
    };
    State state() const;
    /// Waits until there is something newer than `seen`, for a time at most; returns the state.
    State wait(const State &seen, std::chrono::milliseconds atMost) const;

private:
    void countLocked(const Exchange &exchange);
    State stateLocked() const;

    mutable std::mutex mutex_;
    mutable std::condition_variable news_;
    std::deque<Kept> kept_;
    std::deque<Slice> slices_;
    std::size_t bytes_ = 0;
    std::uint64_t latest_ = 0;
    std::uint64_t version_ = 0;
    Totals totals_;
};

} // namespace velmora::page
