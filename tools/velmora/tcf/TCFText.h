#pragma once

#include "tcf/TCFDifference.h"
#include "tcf/TCFString.h"

#include <string>

namespace velmora::tcf {

/// For people: several lines, each with its line feed.
std::string inWords(const TCFString &string);
std::string inWords(const Difference &difference);

/// "1–3, 7".
std::string inWords(const IdSet &ids);

/// "2023-11-14 00:00:00.0 UTC" of tenths of a second since 1970.
std::string dateInWords(std::int64_t tenths);

} // namespace velmora::tcf
