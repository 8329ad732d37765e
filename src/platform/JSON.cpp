#include "platform/JSON.h"

#include "platform/Format.h"
#include "platform/JSONReading.h"

#include <algorithm>

namespace vmr {
namespace {

PlatformError readingError(std::string debugDescription) {
    PlatformError error;
    error.domain = NSCocoaErrorDomain;
    error.code = NSPropertyListReadCorruptError;
    error.userInfo.emplace("NSDebugDescription", Value::string(std::move(debugDescription)));
    return error;
}

PlatformError readingErrorAt(std::string_view bytes, const JSONFailure &failure) {
    const std::string_view before = bytes.substr(0, failure.index);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::size_t lineBreak = before.rfind('\n');
    const std::size_t column =
        lineBreak == std::string_view::npos ? before.size() : before.size() - lineBreak - 1;
    PlatformError error =
        readingError(formatText("%@ around line %ld, column %lu.", failure.reason, line, column));
    error.userInfo.emplace("NSJSONSerializationErrorIndex",
                           Value::integer(static_cast<std::int64_t>(failure.index)));
    return error;
}

std::size_t startOfText(std::string_view bytes) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    const std::size_t mark = bytes.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    return std::min(bytes.find_first_not_of(" \t\r\n", mark), bytes.size());
}

} // namespace

std::variant<Value, PlatformError> readJSON(std::string_view bytes) {
    const std::size_t start = startOfText(bytes);
    if (start == bytes.size())
        return readingError("Unable to parse empty data.");
    if (bytes[start] != '{' && bytes[start] != '[') {
        return readingErrorAt(bytes, {"JSON text did not start with array or object and option to "
                                      "allow fragments not set.",
                                      start});
    }
    std::variant<Value, JSONFailure> parsed = parseJSON(bytes);
    if (const JSONFailure *failure = std::get_if<JSONFailure>(&parsed))
        return readingErrorAt(bytes, *failure);
    return std::get<Value>(std::move(parsed));
}

} // namespace vmr
