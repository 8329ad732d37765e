#pragma once

#include "tcf/TCFDifference.h"
#include "tcf/TCFString.h"

#include <string>

namespace velmora::tcf {

/// For people: several lines, each with its line feed.
std::string inWords(const TCFString &string);
std::string inWords(const Difference &difference);

/// "1-3, 7", or "none".
std::string inWords(const IdSet &ids);
/// "purpose 3: consent required for vendors 1-3, 7", joined with "; ".
std::string inWords(const std::vector<Restriction> &restrictions);

/// "2023-11-14 00:00:00 UTC" of tenths of a second since 1970.
std::string dateInWords(std::int64_t tenths);

} // namespace velmora::tcf
