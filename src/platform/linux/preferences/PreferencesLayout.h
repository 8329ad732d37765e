#pragma once

#include "platform/linux/preferences/SQLiteConnection.h"

#include <cstdint>

namespace vmr {

/// The tables of the file; docs/storage.md describes them.
inline constexpr std::int64_t preferencesFormatVersion = 2;

/// Whether the open file is laid out as a preferences file, or is still to be: `version` is its
/// format, `isNew` tells that it has no table yet.
PreferencesTrouble readPreferencesLayout(SQLiteConnection &connection, std::int64_t &version,
                                         bool &isNew);

/// Makes the tables that the newest format has, within the caller's transaction. SQLite's code.
int layOutPreferences(SQLiteConnection &connection);

} // namespace vmr
