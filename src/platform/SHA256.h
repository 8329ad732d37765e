#pragma once

#include "platform/Value.h"

#include <array>
#include <string_view>

namespace vmr {

using SHA256Digest = std::array<unsigned char, 32>;

SHA256Digest sha256(std::string_view bytes) noexcept;
/// Of all that `write` hands on.
SHA256Digest sha256(WriteText write);
SHA256Digest hmacSHA256(std::string_view key, std::string_view message) noexcept;

inline std::string_view bytesOf(const SHA256Digest &digest) {
    return {reinterpret_cast<const char *>(digest.data()), digest.size()};
}

} // namespace vmr
