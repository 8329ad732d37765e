#include "TypedValue.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <vector>

namespace velmora::prefs {
namespace {

template <typename Number>
Number numberIn(const std::string &text, const char *what) {
    Number value{};
    const char *end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value);
    if (parsed.ec != std::errc() || parsed.ptr != end)
        throw std::invalid_argument("\"" + text + "\" is not " + what);
    return value;
}

double finite(const std::string &text, const char *what) {
    const auto value = numberIn<double>(text, what);
    if (!std::isfinite(value))
        throw std::invalid_argument("\"" + text + "\" is not " + what);
    return value;
}

int booleanIn(const std::string &text) {
    if (text == "true" || text == "1")
        return 1;
    if (text == "false" || text == "0")
        return 0;
    throw std::invalid_argument("\"" + text + "\" is neither true nor false");
}

std::vector<unsigned char> bytesIn(const std::string &text) {
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        unsigned char byte = 0;
        const char *from = text.data() + i;
        const char *to = from + 2;
        if (i + 2 > text.size())
            throw std::invalid_argument("data needs an even number of hexadecimal digits");
        const auto parsed = std::from_chars(from, to, byte, 16);
        if (parsed.ec != std::errc() || parsed.ptr != to)
            throw std::invalid_argument("\"" + std::string(from, to) +
                                        "\" is not two hexadecimal digits");
        bytes.push_back(byte);
    }
    return bytes;
}

} // namespace

velmora_result putTyped(const std::string &key, const std::string &type, const std::string &text) {
    const char *name = key.c_str();
    if (type == "string")
        return velmora_preferences_set_string(name, text.c_str());
    if (type == "integer")
        return velmora_preferences_set_integer(
            name, numberIn<std::int64_t>(text, "an integer of 64 bits"));
    if (type == "real")
        return velmora_preferences_set_real(name, finite(text, "a finite number"));
    if (type == "boolean")
        return velmora_preferences_set_boolean(name, booleanIn(text));
    if (type == "date")
        return velmora_preferences_set_date(name, finite(text, "a number of seconds since 1970"));
    if (type == "data") {
        const std::vector<unsigned char> bytes = bytesIn(text);
        return velmora_preferences_set_data(name, bytes.data(), bytes.size());
    }
    if (type == "json")
        return velmora_preferences_set_json(name, text.c_str());
    throw std::invalid_argument("\"" + type + "\" is no type; there are " + typeNames);
}

} // namespace velmora::prefs
