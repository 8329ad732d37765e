#include "facade/VMRDebugLog.h"
#include "network/DataCoding.h"
#include "platform/JSON.h"
#include "platform/Text.h"

#include <exception>
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

std::string jsonStringWithPrettyPrint(const Dictionary &dictionary, bool prettyPrint) {
    constexpr const char *operation = "-[NSDictionary(VMRKit) jsonStringWithPrettyPrint:]";
    const Value object = Value::dictionary(dictionary);
    if (!isValidJSONObject(object)) {
        debugLog("%s: not a valid json: %@", operation, object);
        return "{}";
    }
    try {
        return writeJSON(object, prettyPrint ? JSONStyle::pretty : JSONStyle::compact);
    } catch (const std::exception &error) {
        debugLog("%s: error: %@", operation, error.what());
        return "{}";
    }
}

} // namespace vmr
