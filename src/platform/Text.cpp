#include "platform/Text.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace vmr {
namespace {

constexpr std::int32_t replacementCharacter = 0xFFFD;
constexpr std::size_t longestLine = std::size_t{1024} * 1024;

struct CodePoint {
    std::int32_t value;
    std::size_t length;
    bool isValid;
};

/// The code point at the start of a text that is not empty; a byte that cannot be read counts as
/// one character.
CodePoint firstCodePoint(std::string_view utf8) {
    const auto lead = static_cast<unsigned char>(utf8.front());
    if (lead < 0x80)
        return {lead, 1, true};
    constexpr std::size_t longestCodePoint = 4;
    const std::string_view bytes = utf8.substr(0, longestCodePoint);
    utf8proc_int32_t value = 0;
    const utf8proc_ssize_t length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t *>(bytes.data()),
                         static_cast<utf8proc_ssize_t>(bytes.size()), &value);
    if (length <= 0)
        return {replacementCharacter, 1, false};
    return {value, static_cast<std::size_t>(length), true};
}

/// How many bytes at the front are ASCII, in whole words: most texts are nothing else.
std::size_t leadingASCIIWords(std::string_view bytes) {
    constexpr std::uint64_t highBits = 0x8080808080808080u;
    std::uint64_t word = 0;
    std::size_t at = 0;
    for (; at + sizeof word <= bytes.size(); at += sizeof word) {
        std::memcpy(&word, bytes.data() + at, sizeof word);
        if ((word & highBits) != 0)
            break;
    }
    return at;
}

bool isPlain(CodePoint one) {
    if (one.value >= 0x20 && one.value < 0x7f)
        return true;
    switch (utf8proc_category(one.value)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return false;
    default:
        return one.isValid;
    }
}

std::string numberOf(CodePoint one, char byte) {
    std::array<char, 16> text{};
    if (one.isValid)
        std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(one.value));
    else
        std::snprintf(text.data(), text.size(), "\\x%02x", static_cast<unsigned char>(byte));
    return text.data();
}

constexpr bool needsSurrogates(std::int32_t codePoint) {
    return codePoint >= 0x10000;
}

} // namespace

std::size_t validUTF8Length(std::string_view bytes) noexcept {
    std::size_t length = 0;
    while ((length += leadingASCIIWords(bytes.substr(length))) < bytes.size()) {
        const CodePoint next = firstCodePoint(bytes.substr(length));
        if (!next.isValid)
            break;
        length += next.length;
    }
    return length;
}

bool isValidUTF8(std::string_view bytes) noexcept {
    return validUTF8Length(bytes) == bytes.size();
}

bool holdsControl(std::string_view text) noexcept {
    return std::ranges::any_of(text,
                               [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; });
}

std::size_t utf16Length(std::string_view utf8) {
    return utf16Units(utf8).size();
}

std::vector<char16_t> utf16Units(std::string_view utf8) {
    std::vector<char16_t> units;
    units.reserve(utf8.size());
    while (!utf8.empty()) {
        const CodePoint next = firstCodePoint(utf8);
        if (needsSurrogates(next.value)) {
            const std::int32_t rest = next.value - 0x10000;
            units.push_back(static_cast<char16_t>(0xD800 + (rest >> 10)));
            units.push_back(static_cast<char16_t>(0xDC00 + (rest & 0x3FF)));
        } else {
            units.push_back(static_cast<char16_t>(next.value));
        }
        utf8.remove_prefix(next.length);
    }
    return units;
}

std::string substringFromUTF16Index(std::string_view utf8, std::size_t index) {
    std::size_t units = 0;
    while (!utf8.empty() && units < index) {
        const CodePoint next = firstCodePoint(utf8);
        units += needsSurrogates(next.value) ? 2 : 1;
        utf8.remove_prefix(next.length);
    }
    return std::string(utf8);
}

std::vector<std::string_view> composedCharacters(std::string_view utf8) {
    std::vector<std::string_view> characters;
    std::size_t start = 0;
    std::size_t at = 0;
    std::int32_t previous = 0;
    utf8proc_int32_t state = 0;
    while (at < utf8.size()) {
        const CodePoint next = firstCodePoint(utf8.substr(at));
        const bool isLineFeedAfterReturn = previous == '\r' && next.value == '\n';
        if (at > start && (utf8proc_grapheme_break_stateful(previous, next.value, &state) ||
                           isLineFeedAfterReturn)) {
            characters.push_back(utf8.substr(start, at - start));
            start = at;
        }
        previous = next.value;
        at += next.length;
    }
    if (start < utf8.size())
        characters.push_back(utf8.substr(start));
    return characters;
}

std::string_view visibleLine(std::string_view text, std::string &made) {
    std::size_t at = 0;
    std::size_t begin = 0;
    const auto replace = [&](std::size_t length, const std::string &shown) {
        made.append(text, begin, at - begin).append(shown);
        begin = at += length;
    };
    while (at < text.size()) {
        const CodePoint next = firstCodePoint(text.substr(at));
        if (at >= longestLine)
            replace(text.size() - at, "... (" + std::to_string(text.size() - at) + " bytes more)");
        else if (next.value == '\n')
            replace(1, "\n    ");
        else if (isPlain(next))
            at += next.length;
        else
            replace(next.length, numberOf(next, text[at]));
    }
    return begin == 0 ? text : made.append(text, begin);
}

std::string textFromLatin1(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (value < 0x80) {
            text += byte;
        } else {
            text += static_cast<char>(0xC0 | (value >> 6));
            text += static_cast<char>(0x80 | (value & 0x3F));
        }
    }
    return text;
}

} // namespace vmr
