#include "collect/EventLog.h"

#include "JsonLine.h"
#include "collect/Moment.h"

#include <utility>

namespace velmora::collect {
namespace {

constexpr int mostLinesASecond = 50;

} // namespace

void EventLog::write(std::string_view event, nlohmann::ordered_json entries) {
    nlohmann::ordered_json line = {{"at", momentText(wallClock())}, {"event", event}};
    line.update(entries);
    writeLine(line);
}

void EventLog::writeBounded(std::string_view event, nlohmann::ordered_json entries) {
    std::int64_t untold = 0;
    {
        const std::lock_guard lock(mutex_);
        const auto now = std::chrono::steady_clock::now();
        if (now - second_ > std::chrono::seconds(1)) {
            second_ = now;
            written_ = 0;
            untold = std::exchange(untold_, 0);
        }
        if (++written_ > mostLinesASecond) {
            ++untold_;
            return;
        }
    }
    tellLeftOut(untold);
    write(event, std::move(entries));
}

void EventLog::tellLeftOut(std::int64_t lines) {
    if (lines > 0)
        write("not-told", {{"lines", lines}});
}

EventLog::~EventLog() {
    tellLeftOut(untold_);
}

} // namespace velmora::collect
