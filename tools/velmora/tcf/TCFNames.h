#pragma once

#include "tcf/TCFString.h"

#include <string_view>

namespace velmora::tcf {

/// What the ids of a string of that version mean; empty for those that mean nothing.
std::string_view purposeName(int version, unsigned id);
std::string_view specialFeatureName(unsigned id);

/// "vendors … for this purpose" completes it: "not allowed", "consent required", …
std::string_view restrictionName(RestrictionType type);

/// "2.2": the edition of the framework that the string follows, as its policy version says.
std::string_view editionName(const TCFString &string);

} // namespace velmora::tcf
