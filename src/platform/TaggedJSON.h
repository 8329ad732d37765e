#pragma once

#include "platform/ValueBuilder.h"

#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// JSON text of any property-list value, scalars included, for people, scripts and the preferences
/// file. What JSON lacks is a tagged object: {"$date": seconds since 1970},
/// {"$data": "hexadecimal"}; a dictionary whose only key starts with "$" has that key's "$"
/// doubled. Reals that are not finite are {"$real": "nan" | "inf" | "-inf"}. Absent is null.
std::string writeTaggedJSON(const Value &value);

/// The reverse; nothing when the text is not JSON, a tag's content is wrong, or it nests deeper
/// than `depthLimit`.
std::optional<Value> readTaggedJSON(std::string_view text,
                                    std::size_t depthLimit = maximumNestingDepth);

} // namespace vmr
