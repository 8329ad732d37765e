#pragma once

#include "platform/PlatformError.h"
#include "platform/Value.h"

#include <string>
#include <string_view>

namespace vmr {

/// Whether the value can be written as JSON: the top level is a dictionary or a list, every leaf a
/// string, a finite number, a boolean or the null marker; nested at most 515 deep, so that an item
/// made of what was read still fits into a body.
bool isValidJSONObject(const Value &value);

enum class JSONStyle { compact, pretty, /** TaggedJSON.h */ tagged };

/// The JSON text of a valid object. The caller has tested it with `isValidJSONObject`; the tagged
/// style takes any value.
std::string writeJSON(const Value &object, JSONStyle style);

/// Hands the compact text on in pieces, so that it need never stand anywhere as a whole.
void writeJSON(const Value &object, const TakeText &take);

/// Reads one document strictly: a dictionary or list at the top, no comments, no trailing commas
/// or text, valid UTF-8, at most 512 deep; of duplicate keys the first wins; integers that fit 64
/// bits, with a sign or without, stay integers.
Expected<Value> readJSON(std::string_view bytes);

} // namespace vmr
