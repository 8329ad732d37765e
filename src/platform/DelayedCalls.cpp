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

void DelayedCalls::add(Call &&call, double due) {
    calls_.emplace(Moment{due, nextSequence_++}, std::move(call));
}

std::vector<DelayedCalls::Call> DelayedCalls::cancel(const DelayedCallKey &key) {
    std::vector<Call> cancelled;
    cancelled.reserve(calls_.size()); // what calls hold must not go in here
    for (auto entry = calls_.begin(); entry != calls_.end();) {
        if (!matches(entry->second.key, key)) {
            ++entry;
            continue;
        }
        cancelled.push_back(std::move(entry->second));
        entry = calls_.erase(entry);
    }
    return cancelled;
}

std::optional<double> DelayedCalls::nextDue() const {
    return calls_.empty() ? std::nullopt : std::optional(calls_.begin()->first.first);
}

std::size_t DelayedCalls::count() const {
    return static_cast<std::size_t>(std::ranges::count_if(
        calls_, [](const auto &entry) { return entry.second.key.target != nullptr; }));
}

std::optional<DelayedCalls::Call> DelayedCalls::takeNext(double now, std::uint64_t pass) {
    const auto next =
        std::ranges::find_if(calls_, [&](const auto &entry) { return entry.first.second < pass; });
    if (next == calls_.end() || next->first.first > now)
        return std::nullopt;
    std::optional<Call> call(std::move(next->second));
    calls_.erase(next);
    return call;
}

} // namespace vmr
