#pragma once

#include "platform/PlatformError.h"
#include "platform/ValueBuilder.h"

#include <string_view>

namespace vmr {

/// Told when a dictionary is complete; may put another value in its place, or refuse it.
using DictionaryConversion = bool (*)(Value &dictionary);

/// Reads one JSON document of any kind at the top; the rest is as strict as `readJSON`.
Expected<Value> parseJSON(std::string_view bytes, DictionaryConversion conversion = nullptr,
                          std::size_t depthLimit = maximumNestingDepth);

} // namespace vmr
