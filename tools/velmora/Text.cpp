#include "Text.h"

#include <nlohmann/json.hpp>

namespace velmora {

bool isValidUTF8(std::string_view text) {
    try {
        nlohmann::json(std::string(text)).dump();
        return true;
    } catch (const nlohmann::json::type_error &) {
        return false;
    }
}

std::string escaped(std::string_view text) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7f) {
            out += c;
        } else {
            out += "\\x";
            out += digits[byte >> 4];
            out += digits[byte & 15];
        }
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
