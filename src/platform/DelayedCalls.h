#pragma once

#include "platform/RunLoop.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>

namespace vmr {

/// The delayed calls of one run loop, in the order they fall due. Knows no clock: its owner gives
/// the time, and lets go of what it is given where calls may be added or cancelled again.
class DelayedCalls {
public:
    struct Call {
        /// Unless its target is gone. One without a target is housekeeping.
        void operator()() const {
            if (const auto alive = target.lock(); alive || key.target == nullptr)
                run();
        }

        DelayedCallKey key;
        std::weak_ptr<const void> target;
        std::function<void()> run;
        double due = 0;
        /// Counts up; set when it is added.
        std::uint64_t sequence = 0;
    };

    void add(Call &&call);
    /// Takes those with an equal key.
    std::list<Call> cancel(const DelayedCallKey &key);

    /// When the earliest call falls due; nothing when none is pending.
    std::optional<double> nextDue() const;
    /// Without housekeeping.
    std::size_t count() const;

    /// Marks the beginning of a pass: calls added from now on belong to a later one.
    std::uint64_t beginPass() const { return nextSequence_; }
    /// Takes the first call that is due and older than the pass; none where there is none.
    std::list<Call> takeNext(double now, std::uint64_t pass);

private:
    std::list<Call> calls_;
    std::uint64_t nextSequence_ = 0;
};

} // namespace vmr
