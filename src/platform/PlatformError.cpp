#include "platform/PlatformError.h"

#include "platform/Format.h"

namespace vmr {
namespace {

constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";
constexpr std::string_view NSDebugDescriptionErrorKey = "NSDebugDescription";

} // namespace

PlatformError platformError(std::string_view domain, std::int64_t code, std::string_view detail) {
    const Value text = Value::string(std::string(detail));
    return {domain, code, dictionaryOf({{NSDebugDescriptionErrorKey, text}})};
}

std::string PlatformError::debugDescription() const {
    return valueForKey(userInfo, NSDebugDescriptionErrorKey).description();
}

std::string PlatformError::description() const {
    Value quoted = valueForKey(userInfo, NSLocalizedDescriptionKey);
    if (quoted.isAbsent())
        quoted = valueForKey(userInfo, NSDebugDescriptionErrorKey);
    std::string text = formatText("Error Domain=%@ Code=%ld \"%@\"", domain, code, quoted);
    if (userInfo.empty())
        return text;
    text += " UserInfo={";
    std::string_view separator;
    for (const auto &[key, value] : userInfo) {
        text += separator;
        text += formatText("%@=%@", key, value);
        separator = ", ";
    }
    text += '}';
    return text;
}

} // namespace vmr
