#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vmr {

inline constexpr std::string_view lowerCaseHexadecimalDigits = "0123456789abcdef";
inline constexpr std::string_view upperCaseHexadecimalDigits = "0123456789ABCDEF";

/// Appends two lower-case digits for each byte.
inline void appendHexadecimal(std::string &out, std::string_view bytes) {
    std::size_t at = out.size();
    out.resize(at + 2 * bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        out[at++] = lowerCaseHexadecimalDigits[value >> 4];
        out[at++] = lowerCaseHexadecimalDigits[value & 0xF];
    }
}

/// The value of a digit of either case, or -1.
constexpr int hexadecimalDigitValue(char digit) noexcept {
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    return -1;
}

/// The bytes of a text of two digits each; nothing for another text.
inline std::optional<std::string> bytesOfHexadecimal(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size() / 2);
    for (; text.size() >= 2; text.remove_prefix(2)) {
        const int high = hexadecimalDigitValue(text[0]);
        const int low = hexadecimalDigitValue(text[1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
    }
    return text.empty() ? std::optional(std::move(bytes)) : std::nullopt;
}

} // namespace vmr
