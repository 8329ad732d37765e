#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vmr {

bool isValidUTF8(std::string_view bytes) noexcept;

/// Length in UTF-16 code units, the way identifier lengths are counted.
std::size_t utf16Length(std::string_view utf8);
std::vector<char16_t> utf16Units(std::string_view utf8);

/// The text from UTF-16 index `index` on; a cut surrogate pair is dropped whole.
std::string substringFromUTF16Index(std::string_view utf8, std::size_t index);

/// The text's user-perceived characters, in order: base and marks together, flags and joined
/// emoji whole; CR and LF are two.
std::vector<std::string_view> composedCharacters(std::string_view utf8);

/// Bytes read as one character each: ASCII, and Latin-1 from 0x80 on.
std::string textFromLatin1(std::string_view bytes);

} // namespace vmr
