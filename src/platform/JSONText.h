#pragma once

#include <string>
#include <string_view>

namespace vmr {

/// Appends the text as a quoted JSON string; bytes from 0x7F on stay as they are.
void appendJSONString(std::string &out, std::string_view utf8);

} // namespace vmr
