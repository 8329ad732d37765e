#pragma once

#include <string>
#include <string_view>

namespace vmr {

/// Where bytes are kept that stood in the store's file under the key, but could be read only after
/// the key had been set anew. `number` counts from 1.
inline std::string unreadKey(std::string_view key, int number) {
    std::string kept = std::string(key) + ".unread";
    return number == 1 ? kept : kept + "-" + std::to_string(number);
}

} // namespace vmr
