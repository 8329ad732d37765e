#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::ingest {

/// "yyyy-MM-dd HH:mm:ss +hhmm", a day that exists.
bool isDateText(std::string_view text);
/// The moment of such a text, in milliseconds since 1970.
std::optional<std::int64_t> momentOf(std::string_view text);
/// 8-4-4-4-12 hexadecimal digits in upper case.
bool isUUIDText(std::string_view text);
bool isLowerHexadecimal(std::string_view text, std::size_t length);
/// The number of UTF-16 units that a valid UTF-8 text has.
std::size_t utf16Length(std::string_view text);

} // namespace velmora::ingest
