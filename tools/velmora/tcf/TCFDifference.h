#pragma once

#include "tcf/TCFString.h"

#include <string>
#include <string_view>
#include <vector>

namespace velmora::tcf {

/// A row of ids that a string holds, under the name of its entry in the JSON form:
/// "purposeConsents"; the rows of the publisher's purposes as "publisherPurposes.purposeConsents".
struct IdChange {
    std::string_view entry;
    IdSet granted;
    IdSet withdrawn;
};

/// Anything else that differs, both sides in words.
struct ValueChange {
    std::string_view entry;
    std::string before;
    std::string after;
};

struct Difference {
    /// False for strings of two versions: the purposes of the one are not those of the other, and
    /// only the vendors are compared.
    bool comparesPurposes = true;
    /// Only rows in which something changed.
    std::vector<IdChange> ids;
    std::vector<ValueChange> values;
};

Difference difference(const TCFString &before, const TCFString &after);

} // namespace velmora::tcf
