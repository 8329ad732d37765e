#pragma once

#include "platform/linux/preferences/PreferencesRows.h"

#include <string>

namespace vmr {

// A damaged file is replaced in three steps, and goes on with the next one wherever the process
// ended: it is called ".damaged"; what can be read of it is made a new file, whole and synced,
// that takes its name; it is called ".damaged-" and the time.

/// The first step, with the log, unless it is done. The name.
std::string setDamagedFileAside(const std::string &path);
/// Every row that can still be read in a file that was set aside. Changes nothing that it holds.
PreferencesRows readableRows(const std::string &aside, bool isShared);
/// Whether the new file stands in its place already.
bool hasSuccessor(const std::string &path);
/// Where the new file is made, which is nobody's remains.
std::string placeForNewFile(const std::string &path);
void putNewFileInPlace(const std::string &fresh, const std::string &path);
/// The last step. The name.
std::string keepDamagedFile(const std::string &path);

/// Overwrites and removes what became of files that were replaced.
void eraseDamagedFiles(const std::string &path);

} // namespace vmr
