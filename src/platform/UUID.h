#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// A fresh random UUID (version 4) as 36 upper-case characters with hyphens.
std::string makeUUIDString();

/// The canonical upper-case form of a UUID text of either case; nothing for braces, missing hyphens
/// or other characters.
std::optional<std::string> canonicalUUIDString(std::string_view text);

} // namespace vmr
