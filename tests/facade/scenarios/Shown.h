#pragma once

#include "platform/Value.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vmr::test {

/// As tagged JSON; data as their number and the bytes.
std::string shown(const Value &value);
/// The bytes as they are where they are printable ASCII, \xNN elsewhere, in lines; of very many
/// bytes the first, and a digest of all.
std::string shownBytes(std::string_view bytes);
/// The text with what the names stand for, its further lines indented.
std::string asLines(std::string text,
                    const std::vector<std::pair<std::string, std::string>> &names);

} // namespace vmr::test
