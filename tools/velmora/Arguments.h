#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace velmora {

/// Takes the first word off the text and the one blank behind it; empty when there is none.
std::string_view takeWord(std::string_view &text);
/// The same for a word that must be there; throws a CommandError that names it.
std::string_view requireWord(std::string_view &text, std::string_view name);
void requireEnd(std::string_view text);

/// Each throws a CommandError for a text that is something else.
std::int64_t integerFrom(std::string_view text);
double realFrom(std::string_view text);
/// Seconds since 1970.
double dateFrom(std::string_view text);
double secondsFrom(std::string_view text);
bool booleanFrom(std::string_view text);
std::string bytesFromHexadecimal(std::string_view text);

} // namespace velmora
