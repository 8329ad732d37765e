#include "platform/DelayedCalls.h"

#include <algorithm>
#include <vector>

namespace vmr {
namespace {

bool matches(const DelayedCallKey &one, const DelayedCallKey &other) {
    return one.target == other.target && one.operation == other.operation &&
           one.argument.isAbsent() == other.argument.isAbsent() &&
           one.argument.isEqualTo(other.argument);
}

} // namespace

void DelayedCalls::add(const DelayedCallKey &key, std::weak_ptr<const void> &&target,
                       std::function<void()> &&call, double due) {
    calls_.emplace(Moment{due, nextSequence_++}, Call{key, std::move(target), std::move(call)});
}

void DelayedCalls::cancel(const DelayedCallKey &key) {
    // Dropped only when the list is in order again: what a call retains may schedule or cancel
    // while it goes.
    std::vector<Call> dropped;
    for (auto entry = calls_.begin(); entry != calls_.end();) {
        if (!matches(entry->second.key, key)) {
            ++entry;
            continue;
        }
        dropped.push_back(std::move(entry->second));
        entry = calls_.erase(entry);
    }
}

std::optional<double> DelayedCalls::nextDue() const {
    if (calls_.empty())
        return std::nullopt;
    return calls_.begin()->first.first;
}

bool DelayedCalls::runNext(double now, std::uint64_t pass) {
    auto next = std::find_if(calls_.begin(), calls_.end(),
                             [&](const auto &entry) { return entry.first.second < pass; });
    if (next == calls_.end() || next->first.first > now)
        return false;
    Call call = std::move(next->second);
    calls_.erase(next);
    if (const auto target = call.target.lock())
        call.run();
    return true;
}

} // namespace vmr
