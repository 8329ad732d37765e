#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <mutex>
#include <string_view>

namespace velmora::collect {

/// Structured lines on standard output, {"at":…,"event":…,…}. From any thread.
class EventLog {
public:
    EventLog() = default;
    EventLog(const EventLog &) = delete;
    EventLog &operator=(const EventLog &) = delete;
    /// Tells of lines that were left out last.
    ~EventLog();

    /// What happens seldom.
    void write(std::string_view event,
               nlohmann::ordered_json entries = nlohmann::ordered_json::object());
    /// What strangers can make happen at any rate: at most 50 lines a second, and one about the
    /// rest.
    void writeBounded(std::string_view event, nlohmann::ordered_json entries);

private:
    void tellLeftOut(std::int64_t lines);

    std::mutex mutex_;
    std::chrono::steady_clock::time_point second_;
    int written_ = 0;
    std::int64_t untold_ = 0;
};

} // namespace velmora::collect
