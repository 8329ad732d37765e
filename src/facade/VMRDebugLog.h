#pragma once

#include "platform/Format.h"

#include <initializer_list>
#include <string_view>

namespace vmr {

/// Whether debug lines print: "DISPLAY_LOGS" in the configuration, or else the host's switch.
/// Evaluated anew for every line.
bool isDebugLogEnabled();

/// Prints `line` to the system log as "[VMR] %@", whatever the gate says.
void writeDebugLine(std::string_view line);

void debugLogWith(std::string_view text, std::initializer_list<FormatArgument> arguments);

/// Prints a debug line when the gate is open; the line, not its arguments, is made only then.
template <class... Arguments>
void debugLog(std::string_view text, const Arguments &...arguments) {
    debugLogWith(text, {FormatArgument(arguments)...});
}

} // namespace vmr
