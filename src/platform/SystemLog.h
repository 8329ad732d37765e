#pragma once

#include <string_view>

namespace vmr {

/// The system log. A line is written whole, texts of others in it made visible; any thread may
/// write.
class SystemLog {
public:
    virtual ~SystemLog() = default;
    /// `line` has no line feed at its end; one inside it belongs to the text.
    virtual void write(std::string_view line) noexcept = 0;
};

} // namespace vmr
