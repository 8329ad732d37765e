#pragma once

#include "platform/Value.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vmr::api {

/// Checks of what a host hands in. Each names the argument in the Refusal that it throws.

/// A text that must be there, may be empty, and is valid UTF-8 of at most `longest` bytes.
std::string_view requireText(const char *text, std::size_t longest, std::string_view name);
/// The same with a length; NULs may stand inside.
std::string_view requireText(const char *text, std::size_t length, std::size_t longest,
                             std::string_view name);
/// The same, or nothing for NULL.
std::optional<std::string> optionalText(const char *text, std::size_t longest,
                                        std::string_view name);
/// The same without line ends and other control characters, which no request header can carry.
std::optional<std::string> optionalLine(const char *text, std::size_t longest,
                                        std::string_view name);
/// A preferences key: not empty.
std::string_view requireKey(const char *key);
/// Bytes; NULL only where the length is 0.
std::string_view requireBytes(const void *bytes, std::size_t length, std::string_view name);
/// A JSON object or array.
Value requireJSON(const char *json);
void requirePointer(const void *pointer, std::string_view name);
void requireFinite(double number, std::string_view name);
/// 0 or 1.
bool requireFlag(unsigned value, std::string_view name);

/// A copy of the text in memory that velmora_free frees, with a NUL behind it. `length`, unless
/// NULL, becomes its length without the NUL.
char *copyOut(std::string_view text, std::size_t *length = nullptr);

} // namespace vmr::api
