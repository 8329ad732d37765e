#include "Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace velmora {
namespace {

constexpr char digits[] = "0123456789abcdef";

/// Controls of both kinds, marks of direction, separators of lines, what has no width.
bool isInvisible(unsigned code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x61c ||
           (code >= 0x200b && code <= 0x200f) || (code >= 0x2028 && code <= 0x202e) ||
           (code >= 0x2060 && code <= 0x206f) || code == 0xfeff;
}

void appendByte(std::string &out, unsigned byte) {
    out += digits[byte >> 4 & 15];
    out += digits[byte & 15];
}

/// The number of bytes that a character which begins with this one has; 0 when none does.
std::size_t lengthOfCharacter(unsigned char lead) {
    if (lead < 0x80)
        return 1;
    if (lead < 0xc2 || lead > 0xf4)
        return 0;
    return lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
}

/// The bytes of the character that the text begins with, and its number; no bytes where none does.
std::pair<std::size_t, unsigned> firstCharacter(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lengthOfCharacter(lead);
    unsigned code = length < 2 ? lead : lead & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (i == text.size() || (static_cast<unsigned char>(text[i]) & 0xc0) != 0x80)
            return {0, 0};
        code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3f);
    }
    return {length, code};
}

} // namespace

bool isValidUTF8(std::string_view text) {
    try {
        nlohmann::json(std::string(text)).dump();
        return true;
    } catch (const nlohmann::json::type_error &) {
        return false;
    }
}

std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7f) {
            out += c;
        } else {
            out += "\\x";
            appendByte(out, byte);
        }
    }
    return out;
}

std::string visible(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const auto [length, code] = firstCharacter(text);
        const std::size_t taken = std::max<std::size_t>(length, 1);
        if (length == 0) {
            out += "\\x";
            appendByte(out, static_cast<unsigned char>(text[0]));
        } else if (isInvisible(code)) {
            out += "\\u";
            appendByte(out, code >> 8);
            appendByte(out, code);
        } else {
            out += text.substr(0, taken);
        }
        text.remove_prefix(taken);
    }
    return out;
}

std::string shortened(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes)
        return std::string(text);
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80)
        --bytes;
    return std::string(text.substr(0, bytes)) + "…";
}

} // namespace velmora
