#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// A fresh random UUID (version 4) as 36 upper-case characters with hyphens.
std::string makeUUIDString();
/// The bytes in the same form; the bits that tell the version and the variant are set for it.
std::string uuidStringOf(std::array<unsigned char, 16> bytes);

/// The canonical upper-case form of a UUID text of either case; nothing for braces, missing hyphens
/// or other characters.
std::optional<std::string> canonicalUUIDString(std::string_view text);

} // namespace vmr
