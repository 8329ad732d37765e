#pragma once

#include "platform/linux/preferences/PreferencesRows.h"

#include <string>

namespace vmr {

/// Gives the rows of a file on a file system that is mounted read-only, where SQLite cannot make
/// what it keeps beside a file; nothing, without trouble, where there is no file. Trouble when the
/// file cannot be read, or is none of ours.
PreferencesTrouble readRowsInPlace(const std::string &path, PreferencesRows &rows);

} // namespace vmr
