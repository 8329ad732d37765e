#pragma once

#include "platform/Mutex.h"
#include "platform/SystemLog.h"

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vmr::test {

/// Keeps every line that was written.
class RecordingLog final : public SystemLog {
public:
    void write(std::string_view line, LogLevel = LogLevel::warning) noexcept override {
        const MutexLock lock(mutex_);
        lines_.emplace_back(line);
        if (onWrite)
            onWrite(line);
    }

    std::vector<std::string> lines() const {
        const MutexLock lock(mutex_);
        return lines_;
    }
    /// How many lines hold the text somewhere.
    std::size_t countContaining(std::string_view text) const {
        const MutexLock lock(mutex_);
        return static_cast<std::size_t>(
            std::count_if(lines_.begin(), lines_.end(), [&](const std::string &line) {
                return line.find(text) != std::string::npos;
            }));
    }
    void clear() {
        const MutexLock lock(mutex_);
        lines_.clear();
    }

    std::function<void(std::string_view)> onWrite;

private:
    mutable Mutex mutex_;
    std::vector<std::string> lines_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr::test
