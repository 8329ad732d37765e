#include "network/DataCoding.h"
#include "platform/Format.h"
#include "platform/Text.h"

#include <iterator>

namespace vmr {

std::string VMR_hexEncode(std::string_view text) {
    std::string encoded;
    for (const char16_t unit : utf16Units(text)) {
        if (unit < 0x10)
            encoded.push_back('0');
        encoded += formatText("%x", static_cast<std::uint32_t>(unit));
    }
    return encoded;
}

std::optional<std::string> stringWithATAuthorizationStatus(std::uint64_t status) {
    static constexpr const char *names[] = {"notDetermined", "restricted", "alwaysDenied",
                                            "authorized"};
    return status < std::size(names) ? std::optional<std::string>(names[status]) : std::nullopt;
}

} // namespace vmr
