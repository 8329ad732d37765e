#include "api/Arguments.h"

#include "api/Call.h"
#include "api/Refusal.h"
#include "platform/JSON.h"
#include "platform/Text.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

namespace vmr::api {
namespace {

[[noreturn]] void refuseTooLong(std::string_view name, std::size_t longest) {
    refuse(VELMORA_TOO_LONG, "\"%@\" is longer than %lu bytes: shorten it", name, longest);
}

} // namespace

std::string_view requireText(const char *text, std::size_t longest, std::string_view name) {
    requirePointer(text, name);
    const std::size_t length = strnlen(text, longest + 1);
    return requireText(text, length, longest, name);
}

std::string_view requireText(const char *text, std::size_t length, std::size_t longest,
                             std::string_view name) {
    requirePointer(text, name);
    if (length > longest)
        refuseTooLong(name, longest);
    if (!isValidUTF8({text, length}))
        refuse(VELMORA_INVALID_UTF8, "\"%@\" is not valid UTF-8: convert it first", name);
    return {text, length};
}

std::optional<std::string> optionalText(const char *text, std::size_t longest,
                                        std::string_view name) {
    if (text == nullptr)
        return std::nullopt;
    return std::string(requireText(text, longest, name));
}

std::optional<std::string> optionalLine(const char *text, std::size_t longest,
                                        std::string_view name) {
    std::optional<std::string> line = optionalText(text, longest, name);
    if (line && holdsControl(*line))
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"%@\" holds a line end or another control character: give the characters alone",
               name);
    return line;
}

std::string_view requireKey(const char *key) {
    const std::string_view text = requireText(key, VELMORA_MAX_KEY_LENGTH, "key");
    if (text.empty())
        refuse(VELMORA_INVALID_ARGUMENT, "\"key\" is empty: name a preferences key");
    return text;
}

std::string_view requireBytes(const void *bytes, std::size_t length, std::string_view name) {
    if (length == 0)
        return {};
    requirePointer(bytes, name);
    if (length > VELMORA_MAX_VALUE_LENGTH)
        refuseTooLong(name, VELMORA_MAX_VALUE_LENGTH);
    return {static_cast<const char *>(bytes), length};
}

Value requireJSON(const char *json) {
    auto read = readJSON(requireText(json, VELMORA_MAX_VALUE_LENGTH, "json"));
    if (const auto *error = std::get_if<PlatformError>(&read))
        refuse(VELMORA_INVALID_ARGUMENT, "\"json\" is not a JSON object or array: %@",
               error->debugDescription());
    return std::get<Value>(std::move(read));
}

void requirePointer(const void *pointer, std::string_view name) {
    if (pointer == nullptr)
        refuse(VELMORA_INVALID_ARGUMENT, "\"%@\" is NULL: give a value", name);
}

void requireFinite(double number, std::string_view name) {
    if (!std::isfinite(number))
        refuse(VELMORA_INVALID_ARGUMENT, "\"%@\" is not a finite number: give a number", name);
}

bool requireFlag(unsigned value, std::string_view name) {
    if (value > 1)
        refuse(VELMORA_INVALID_ARGUMENT, "\"%@\" is %lu: give 0 or 1", name, value);
    return value == 1;
}

char *copyOut(std::string_view text, std::size_t *length) {
    auto *copy = static_cast<char *>(std::malloc(text.size() + 1));
    if (copy == nullptr)
        throw std::bad_alloc();
    *std::copy(text.begin(), text.end(), copy) = '\0';
    if (length != nullptr)
        *length = text.size();
    return copy;
}

} // namespace vmr::api
