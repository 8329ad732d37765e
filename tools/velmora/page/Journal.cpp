#include "page/Journal.h"

#include <algorithm>

namespace velmora::page {
namespace {

constexpr std::size_t mostBytes = std::size_t{256} << 20;

constexpr std::int64_t sliceLength = 5000;
constexpr std::int64_t mostSlices = 120;

std::size_t sizeOf(const Exchange &exchange) {
    std::size_t size =
        sizeof exchange + exchange.request.body.size() + exchange.request.target.size();
    for (const auto &[name, value] : exchange.request.headers)
        size += 2 * sizeof(std::string) + name.size() + value.size();
    for (const Event &event : exchange.events)
        size +=
            sizeof event + event.id.size() + event.date.size() + event.consent.value_or("").size();
    return size;
}

} // namespace

void Journal::countLocked(const Exchange &exchange) {
    const std::int64_t begin = exchange.time / sliceLength * sliceLength;
    if (slices_.empty() || slices_.back().begin < begin)
        slices_.push_back({begin, {}});
    while (slices_.front().begin + sliceLength * mostSlices <= begin)
        slices_.pop_front();
    for (Totals *totals : {&totals_, &slices_.back().totals}) {
        ++totals->requests;
        totals->events += exchange.events.size();
        totals->wrong += exchange.summary["sound"] == true ? 0U : 1U;
        totals->failed += exchange.isDelivered ? 0U : 1U;
    }
}

Kept Journal::add(Exchange exchange) {
    const std::lock_guard lock(mutex_);
    exchange.number = ++latest_;
    exchange.summary["number"] = latest_;
    countLocked(exchange);
    bytes_ += sizeOf(exchange);
    kept_.push_back(std::make_shared<const Exchange>(std::move(exchange)));
    while (kept_.size() > mostKept || (bytes_ > mostBytes && kept_.size() > 1)) {
        bytes_ -= sizeOf(*kept_.front());
        kept_.pop_front();
    }
    news_.notify_all();
    return kept_.back();
}

void Journal::clear() {
    const std::lock_guard lock(mutex_);
    kept_.clear();
    slices_.clear();
    bytes_ = 0;
    totals_ = {};
    ++version_;
    news_.notify_all();
}

void Journal::touch() {
    const std::lock_guard lock(mutex_);
    ++version_;
    news_.notify_all();
}

Kept Journal::find(std::uint64_t number) const {
    const std::lock_guard lock(mutex_);
    const std::uint64_t oldest = latest_ - kept_.size() + 1;
    return number < oldest || number > latest_ ? nullptr : kept_[number - oldest];
}

std::vector<Kept> Journal::after(std::uint64_t number) const {
    const std::lock_guard lock(mutex_);
    const std::uint64_t before = latest_ - kept_.size();
    const std::uint64_t skipped = number <= before ? 0 : std::min(number, latest_) - before;
    return {kept_.begin() + static_cast<std::ptrdiff_t>(skipped), kept_.end()};
}

std::vector<Slice> Journal::slices() const {
    const std::lock_guard lock(mutex_);
    return {slices_.begin(), slices_.end()};
}

Journal::State Journal::stateLocked() const {
    return {latest_ - kept_.size() + 1, latest_, version_, totals_};
}

Journal::State Journal::state() const {
    const std::lock_guard lock(mutex_);
    return stateLocked();
}

Journal::State Journal::wait(const State &seen, std::chrono::milliseconds atMost) const {
    std::unique_lock lock(mutex_);
    news_.wait_for(lock, atMost,
                   [&] { return latest_ != seen.latest || version_ != seen.version; });
    return stateLocked();
}

} // namespace velmora::page
