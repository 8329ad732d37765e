#pragma once

#include "doctor/Subject.h"
#include "tcf/TCFString.h"

namespace velmora::doctor {

constexpr const char *version1Key = "IABConsent_ConsentString";
constexpr const char *version2Key = "IABTCF_TCString";

/// The decoded string under the key; nothing when there is none that can be decoded.
std::optional<tcf::TCFString> storedString(const char *key);

/// A text from the store for a message: visible, and not too long.
std::string quoted(const std::string &text);

} // namespace velmora::doctor
