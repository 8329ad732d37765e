#pragma once

#include "platform/ValueBuilder.h"

#include <cstddef>
#include <string_view>
#include <variant>

namespace vmr {

/// Told when a dictionary is complete; may put another value in its place, or refuse it.
using DictionaryConversion = bool (*)(Value &dictionary);

struct JSONFailure {
    /// What is wrong, without the place.
    std::string_view reason;
    /// The byte at which reading stopped.
    std::size_t index = 0;
};

/// Reads one JSON document of any kind at the top; the rest is as strict as `readJSON`.
std::variant<Value, JSONFailure> parseJSON(std::string_view bytes,
                                           DictionaryConversion conversion = nullptr,
                                           std::size_t depthLimit = maximumNestingDepth);

} // namespace vmr
