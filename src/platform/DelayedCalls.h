#pragma once

#include "platform/RunLoop.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace vmr {

/// The delayed calls of one run loop, in the order they fall due. Knows no clock: its owner gives
/// the time. Used from its loop's thread only.
class DelayedCalls {
public:
    void add(const DelayedCallKey &key, std::weak_ptr<const void> &&target,
             std::function<void()> &&call, double due);
    void cancel(const DelayedCallKey &key);

    /// When the earliest call falls due; nothing when none is pending.
    std::optional<double> nextDue() const;
    std::size_t count() const noexcept { return calls_.size(); }

    /// Marks the beginning of a pass: calls added from now on belong to a later one.
    std::uint64_t beginPass() const { return nextSequence_; }
    /// Takes the first call that is due and older than the pass, and runs it unless its target is
    /// gone. False when there is none. What the call throws passes through.
    bool runNext(double now, std::uint64_t pass);

private:
    struct Call {
        DelayedCallKey key;
        std::weak_ptr<const void> target;
        std::function<void()> run;
    };
    using Moment = std::pair<double, std::uint64_t>;

    std::map<Moment, Call> calls_;
    std::uint64_t nextSequence_ = 0;
};

} // namespace vmr
