#include "platform/RecordList.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <utility>

namespace vmr {
namespace {

// Blocks double in size, so that a few dozen reach any length and none ever moves.
constexpr std::size_t firstBlock = 16;

struct Place {
    std::size_t block;
    std::size_t offset;
};

Place placeOf(std::size_t index) noexcept {
    const std::size_t block = std::bit_width(index / firstBlock + 1) - 1U;
    return {block, index - firstBlock * ((std::size_t{1} << block) - 1)};
}

} // namespace

/// Where records stand that several lists share. Whoever's list ends where the run ends may go on;
/// what stands before the end of a list never changes.
class RecordList::Run {
public:
    const Record &operator[](std::size_t index) const noexcept {
        const Place place = placeOf(index);
        return blocks_[place.block][place.offset];
    }

    /// False when another list has gone on from there already.
    bool add(std::size_t end, Record &record) {
        const Place place = placeOf(end);
        std::unique_ptr<Record[]> block;
        if (place.offset == 0)
            block = std::make_unique<Record[]>(firstBlock << place.block);
        if (!end_.compare_exchange_strong(end, end + 1))
            return false;
        if (block)
            blocks_[place.block] = std::move(block);
        blocks_[place.block][place.offset] = std::move(record);
        return true;
    }

private:
    std::array<std::unique_ptr<Record[]>, 40> blocks_;
    std::atomic<std::size_t> end_{0};
};

const RecordList::Record &RecordList::operator[](std::size_t index) const noexcept {
    return (*run_)[begin_ + index];
}

void RecordList::push_back(Record record) {
    // What was dropped from the front stays in the run: not for ever, where much was.
    const bool isMostlyDropped = begin_ > firstBlock && begin_ > size();
    if (!run_ || isMostlyDropped || !run_->add(end_, record)) {
        *this = startedAnew();
        run_->add(end_, record);
    }
    ++end_;
}

RecordList RecordList::startedAnew() const {
    RecordList copy;
    copy.run_ = std::make_shared<Run>();
    for (std::size_t index = 0; index < size(); ++index) {
        Record record = (*this)[index];
        copy.run_->add(copy.end_++, record);
    }
    return copy;
}

void RecordList::dropFirst(std::size_t count) {
    begin_ += std::min(count, size());
    if (empty())
        *this = {};
}

RecordList::Rest RecordList::restOf(const RecordList &older) const noexcept {
    if (empty())
        return {older.size(), 0};
    if (run_ == older.run_ && begin_ >= older.begin_) {
        const std::size_t dropped = std::min(begin_ - older.begin_, older.size());
        return {dropped, std::min(size(), older.size() - dropped)};
    }
    Rest rest;
    while (rest.dropped < older.size() && older[rest.dropped] != (*this)[0])
        ++rest.dropped;
    const std::size_t most = std::min(size(), older.size() - rest.dropped);
    while (rest.kept < most && older[rest.dropped + rest.kept] == (*this)[rest.kept])
        ++rest.kept;
    return rest;
}

} // namespace vmr
