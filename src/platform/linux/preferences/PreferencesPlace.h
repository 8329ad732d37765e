#pragma once

#include <string>

namespace vmr {

/// Where the preferences file lies when the host names none:
/// $XDG_STATE_HOME or ~/.local/state, VelmoraKit/<identifier or executable's name>,
/// preferences.sqlite. Empty when the user has no home directory.
std::string defaultPreferencesPath(const std::string &bundleIdentifier);

/// Makes the file's folder and those above it that are missing, for this user alone whatever the
/// umask; none where others could put another one into its place, unless that `isShared`.
void makePreferencesFolder(const std::string &path, bool isShared);

} // namespace vmr
