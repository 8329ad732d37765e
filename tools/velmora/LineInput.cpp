#include "LineInput.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace velmora {
namespace {

/// Longer than the longest value.
constexpr std::size_t longestLine = std::size_t{40} << 20;

} // namespace

bool LineInput::read() {
    char bytes[65536];
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count < 0)
        return errno == EINTR || errno == EAGAIN;
    buffer_.append(bytes, static_cast<std::size_t>(count));
    return count > 0;
}

std::optional<std::string> LineInput::nextLine(bool atEnd) {
    const std::size_t end = buffer_.find('\n', searched_);
    if (end == std::string::npos && (skipping_ || buffer_.size() > longestLine)) {
        tooLong_ = tooLong_ || !skipping_;
        skipping_ = true;
        buffer_.clear();
    }
    if (end == std::string::npos && (!atEnd || buffer_.empty())) {
        searched_ = buffer_.size();
        return std::nullopt;
    }
    std::string line = buffer_.substr(0, end);
    buffer_.erase(0, end == std::string::npos ? end : end + 1);
    searched_ = 0;
    if (std::exchange(skipping_, false))
        return nextLine(atEnd);
    if (line.ends_with('\r'))
        line.pop_back();
    return line;
}

bool LineInput::takeTooLong() {
    return std::exchange(tooLong_, false);
}

} // namespace velmora
