#pragma once

#include "platform/Preferences.h"

#include <vector>

namespace vmr {

/// Stores an event for each consent string that another process has set under one of the two keys
/// while no process saw to it, and records it as the last known one. For the start, before the
/// stored events are loaded.
void storeHandedOverStrings(const std::vector<PreferencesChange> &strings);

} // namespace vmr
