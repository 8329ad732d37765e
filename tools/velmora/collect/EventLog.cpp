#include "collect/EventLog.h"

#include "JsonLine.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <utility>

namespace velmora::collect {
namespace {

constexpr int mostLinesASecond = 50;

} // namespace

std::int64_t wallClock() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string momentText(std::int64_t milliseconds) {
    const std::time_t seconds = milliseconds / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::array<char, 8> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03dZ",
                  static_cast<int>(milliseconds % 1000));
    return std::string(text.data()) + fraction.data();
}

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
    if (untold > 0)
        write("not-told", {{"lines", untold}});
    write(event, std::move(entries));
}

} // namespace velmora::collect
