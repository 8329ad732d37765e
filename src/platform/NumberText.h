#pragma once

#include <charconv>
#include <cmath>
#include <concepts>
#include <string>

namespace vmr {

/// Numbers as text, the same in every locale of the host.
template <std::integral T>
void appendInteger(std::string &out, T value, int base = 10) {
    char buffer[24];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, value, base).ptr;
    out.append(buffer, end);
}

/// With zeros in front up to `width` characters.
template <std::integral T>
void appendPadded(std::string &out, T value, std::size_t width) {
    char buffer[24];
    const auto length =
        static_cast<std::size_t>(std::to_chars(buffer, buffer + sizeof buffer, value).ptr - buffer);
    out.append(width > length ? width - length : 0, '0').append(buffer, length);
}

/// What C's "%.<digits>g" prints; "nan" without a sign.
inline void appendReal(std::string &out, double value, int digits) {
    if (std::isnan(value)) {
        out += "nan";
        return;
    }
    char buffer[48];
    const auto end =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, digits)
            .ptr;
    out.append(buffer, end);
}

} // namespace vmr
