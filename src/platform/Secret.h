#pragma once

#include <string.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace vmr {

/// Leaves nothing of a text in memory.
inline void wipe(std::string &text) noexcept {
    text.resize(text.capacity());
    ::explicit_bzero(text.data(), text.size());
    text.clear();
}

/// A text, or none, that is in memory once however often it is copied, and is wiped at its end.
class Secret {
public:
    Secret() = default;
    /// Wipes what it is made of.
    Secret(std::string &&text)
        : held_(new std::string(text), [](std::string *held) {
              wipe(*held);
              delete held;
          }) {
        wipe(text);
    }
    std::string_view orElse(std::string_view absent) const noexcept {
        return held_ ? std::string_view(*held_) : absent;
    }

private:
    std::shared_ptr<std::string> held_;
};

} // namespace vmr
