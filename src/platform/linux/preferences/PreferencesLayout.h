#pragma once

#include "platform/linux/preferences/SQLiteConnection.h"

#include <cstdint>
#include <optional>

namespace vmr {

/// The tables of the file; docs/storage-format.md describes them.
inline constexpr std::int64_t preferencesFormatVersion = 2;

/// The open file's format, asked for within a transaction; nothing where it has no table yet.
/// Throws where it is none of ours.
std::optional<std::int64_t> formatOfPreferences(SQLiteConnection &connection);

/// Makes the tables that the newest format has, within the caller's transaction.
void layOutPreferences(SQLiteConnection &connection);

} // namespace vmr
