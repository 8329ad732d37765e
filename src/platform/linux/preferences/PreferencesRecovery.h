#pragma once

#include "platform/Date.h"
#include "platform/linux/preferences/PreferencesRows.h"

#include <string>

namespace vmr {

/// Gives a damaged file, with its log, a new name beside the old one: ".damaged-" and the time.
/// Empty when it could not be renamed.
std::string setDamagedFileAside(const std::string &path, Date now);

/// Every row that can still be read in a file that was set aside. Changes nothing that it holds.
PreferencesRows readableRows(const std::string &path);

} // namespace vmr
