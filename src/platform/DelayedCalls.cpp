#include "platform/DelayedCalls.h"

#include <algorithm>

namespace vmr {
namespace {

bool matches(const DelayedCallKey &one, const DelayedCallKey &other) {
    return one.target == other.target && one.operation == other.operation &&
           one.argument.isAbsent() == other.argument.isAbsent() &&
           one.argument.isEqualTo(other.argument);
}

} // namespace

void DelayedCalls::add(Call &&call) {
    call.sequence = nextSequence_++;
    const auto later =
        std::ranges::find_if(calls_, [&](const Call &other) { return other.due > call.due; });
    calls_.insert(later, std::move(call));
}

std::list<DelayedCalls::Call> DelayedCalls::cancel(const DelayedCallKey &key) {
    std::list<Call> cancelled;
    for (auto next = calls_.begin(); next != calls_.end();) {
        const auto call = next++;
        if (matches(call->key, key))
            cancelled.splice(cancelled.end(), calls_, call);
    }
    return cancelled;
}

std::optional<double> DelayedCalls::nextDue() const {
    return calls_.empty() ? std::nullopt : std::optional(calls_.front().due);
}

std::size_t DelayedCalls::count() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(calls_, [](const Call &call) { return call.key.target != nullptr; }));
}

std::list<DelayedCalls::Call> DelayedCalls::takeNext(double now, std::uint64_t pass) {
    std::list<Call> taken;
    const auto next =
        std::ranges::find_if(calls_, [&](const Call &call) { return call.sequence < pass; });
    if (next != calls_.end() && next->due <= now)
        taken.splice(taken.end(), calls_, next);
    return taken;
}

} // namespace vmr
