#include "Arguments.h"

#include "CommandError.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace velmora {
namespace {

template <class Number>
Number numberFrom(std::string_view text, const char *kind) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        throw CommandError("\"" + std::string(text) + "\" is not a valid " + kind);
    return number;
}

/// 16 and more for what is no digit.
unsigned nibble(char c) {
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A' + 10);
    return 16;
}

} // namespace

std::string_view takeWord(std::string_view &text) {
    const std::size_t length = text.find(' ');
    const std::string_view word = text.substr(0, length);
    text.remove_prefix(length == std::string_view::npos ? text.size() : length + 1);
    return word;
}

std::string_view requireWord(std::string_view &text, std::string_view name) {
    const std::string_view word = takeWord(text);
    if (word.empty())
        throw CommandError(std::string(name) + " is missing");
    return word;
}

void requireEnd(std::string_view text) {
    if (text.find_first_not_of(' ') != std::string_view::npos)
        throw CommandError("\"" + std::string(text) + "\" is one argument too many");
}

std::int64_t integerFrom(std::string_view text) {
    return numberFrom<std::int64_t>(text, "integer of 64 bits");
}

double realFrom(std::string_view text) {
    return numberFrom<double>(text, "number");
}

double dateFrom(std::string_view text) {
    return numberFrom<double>(
        text, "date; write the seconds since 1970, as \"date +%s -d 2026-11-22\" prints them");
}

double secondsFrom(std::string_view text) {
    const double seconds = realFrom(text);
    if (!std::isfinite(seconds) || seconds < 0)
        throw CommandError("\"" + std::string(text) + "\" is not a number of seconds");
    return seconds;
}

bool booleanFrom(std::string_view text) {
    if (text != "true" && text != "false")
        throw CommandError("\"" + std::string(text) + "\" is neither true nor false");
    return text == "true";
}

std::string bytesFromHexadecimal(std::string_view text) {
    if (text.size() % 2 != 0 ||
        !std::all_of(text.begin(), text.end(), [](char c) { return nibble(c) < 16; }))
        throw CommandError("\"" + std::string(text) +
                           "\" is not data; write pairs of hexadecimal digits, 00ff for instance");
    std::string bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes += static_cast<char>(nibble(text[i]) << 4 | nibble(text[i + 1]));
    return bytes;
}

} // namespace velmora
