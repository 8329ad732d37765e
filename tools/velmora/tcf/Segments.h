#pragma once

#include "tcf/Segment.h"

namespace velmora::tcf {

/// What a consent tool's maker is told.
inline constexpr const char *encoderRemedy =
    "have the maker of the consent tool correct its encoder";

/// The first segment, of either version.
TCFString readCore(Segment &core);

/// What follows the first full stop: the segments of version 2, in any order.
void readFurtherSegments(std::string_view text, TCFString &string);

/// Behind the last field of a segment.
void checkEnd(Segment &segment, std::vector<Problem> &problems);

} // namespace velmora::tcf
