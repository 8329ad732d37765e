#pragma once

#include "tcf/TCFString.h"

namespace velmora::tcf {

/// Adds what the framework's rules say against a string that could be read. `now`: seconds since
/// 1970.
void checkRules(TCFString &string, std::int64_t now);

} // namespace velmora::tcf
