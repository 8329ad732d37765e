#pragma once

#include "platform/Value.h"

#include <string>
#include <string_view>

namespace vmr {

/// Appends the text as a quoted JSON string; bytes from 0x7F on stay as they are.
void appendJSONString(std::string &out, std::string_view utf8);

/// Appends a real, a date, data or a record as tagged JSON.
void appendTaggedLeaf(std::string &out, const Value &value);

} // namespace vmr
