#pragma once

#include "tcf/TCFDifference.h"
#include "tcf/TCFString.h"

#include <iosfwd>
#include <variant>

namespace velmora::tcf {

/// How a set of ids is written: [1,2,3,7] or [[1,3],[7,7]]. Ids cost what their number is, which a
/// few characters can make large; ranges never cost more than the text.
enum class IdForm { ids, ranges };

/// The object that docs/consent-strings.md describes, without a line feed. What could not be
/// decoded is {"error": …}.
void writeJSON(std::ostream &out, const std::variant<TCFString, Failure> &decoded,
               IdForm form = IdForm::ids);

/// {"granted":{ENTRY:ids, …},"withdrawn":{…},"changed":{ENTRY:[before, after], …},
/// "comparesPurposes":B}
void writeJSON(std::ostream &out, const Difference &difference, IdForm form = IdForm::ids);

} // namespace velmora::tcf
