#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vmr {

/// Of the longest beginning that is valid.
std::size_t validUTF8Length(std::string_view bytes) noexcept;
bool isValidUTF8(std::string_view bytes) noexcept;
/// Whether a line end or another of ASCII's controls stands in it: no request header carries one.
bool holdsControl(std::string_view text) noexcept;

/// Length in UTF-16 code units, the way identifier lengths are counted.
std::size_t utf16Length(std::string_view utf8);
std::vector<char16_t> utf16Units(std::string_view utf8);

/// The text from UTF-16 index `index` on; a cut surrogate pair is dropped whole.
std::string substringFromUTF16Index(std::string_view utf8, std::size_t index);

/// The text's user-perceived characters, in order: base and marks together, flags and joined
/// emoji whole; CR and LF are two.
std::vector<std::string_view> composedCharacters(std::string_view utf8);

/// The text as a line of a log: line feeds stay, with blanks behind them that no line begins with;
/// of what has no shape of its own (controls, marks of direction, separators) and of bytes that are
/// no UTF-8 the number is written, and after 1 MiB how much is left out. `made` keeps what is made;
/// a text that stays as it is needs no memory.
std::string_view visibleLine(std::string_view text, std::string &made);

/// Bytes read as one character each: ASCII, and Latin-1 from 0x80 on.
std::string textFromLatin1(std::string_view bytes);

} // namespace vmr
