#include "platform/PlatformError.h"

#include "platform/Format.h"

namespace vmr {
namespace {

constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";
constexpr std::string_view NSLocalizedFailureErrorKey = "NSLocalizedFailure";
constexpr std::string_view NSLocalizedFailureReasonErrorKey = "NSLocalizedFailureReason";
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

std::string PlatformError::localizedDescription() const {
    const Value own = valueForKey(userInfo, NSLocalizedDescriptionKey);
    if (!own.isAbsent())
        return own.description();
    const Value failure = valueForKey(userInfo, NSLocalizedFailureErrorKey);
    const Value reason = valueForKey(userInfo, NSLocalizedFailureReasonErrorKey);
    if (!failure.isAbsent() && !reason.isAbsent())
        return formatText("%@ %@", failure, reason);
    if (domain == NSCocoaErrorDomain && code == NSPropertyListReadCorruptError)
        return "The data couldn’t be read because it isn’t in the correct format.";
    if (!reason.isAbsent())
        return formatText("The operation couldn’t be completed. %@", reason);
    return formatText("The operation couldn’t be completed. (%@ error %ld.)", domain, code);
}

} // namespace vmr
