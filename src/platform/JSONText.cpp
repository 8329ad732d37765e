#include "platform/JSONText.h"

#include "platform/Hexadecimal.h"

#include <cstdint>
#include <cstring>

namespace vmr {
namespace {

constexpr bool needsEscape(char character) {
    return static_cast<unsigned char>(character) < 0x20 || character == '"' || character == '\\';
}

constexpr std::uint64_t everyByte(std::uint64_t byte) {
    return byte * 0x0101010101010101u;
}

/// Nonzero when a byte of the word is below `limit` (at most 0x80).
constexpr std::uint64_t bytesBelow(std::uint64_t word, std::uint64_t limit) {
    return (word - everyByte(limit)) & ~word & everyByte(0x80);
}

constexpr std::uint64_t bytesEqual(std::uint64_t word, char byte) {
    return bytesBelow(word ^ everyByte(static_cast<unsigned char>(byte)), 1);
}

/// Where the next character stands that cannot be copied as it is. Consent strings are long and
/// have none, so eight bytes are looked at in one step.
std::size_t findEscape(std::string_view text, std::size_t from) {
    std::uint64_t word = 0;
    for (; from + sizeof word <= text.size(); from += sizeof word) {
        std::memcpy(&word, text.data() + from, sizeof word);
        if ((bytesBelow(word, 0x20) | bytesEqual(word, '"') | bytesEqual(word, '\\')) != 0)
            break;
    }
    while (from < text.size() && !needsEscape(text[from]))
        ++from;
    return from;
}

void appendEscape(std::string &out, char character) {
    constexpr std::string_view escaped = "\"\\\b\f\n\r\t";
    constexpr std::string_view letters = "\"\\bfnrt";
    if (const std::size_t at = escaped.find(character); at != std::string_view::npos) {
        out += '\\';
        out += letters[at];
        return;
    }
    out += "\\u00";
    appendHexadecimal(out, std::string_view(&character, 1));
}

} // namespace

void appendJSONString(std::string &out, std::string_view utf8) {
    out += '"';
    std::size_t at = 0;
    while (true) {
        const std::size_t next = findEscape(utf8, at);
        out.append(utf8, at, next - at);
        if (next == utf8.size())
            break;
        appendEscape(out, utf8[next]);
        at = next + 1;
    }
    out += '"';
}

} // namespace vmr
