#pragma once

#include "platform/Value.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace vmr {

class StatementUse;

/// The text of a row's column, whatever it holds.
std::string_view textOfColumn(sqlite3_stmt *row, int column);

/// What stands in a row's first column.
struct PreferencesKey {
    std::string text;
    bool isValid = false; ///< else `text` only names it

    static PreferencesKey read(sqlite3_stmt *row, int column = 0);
};

/// The value that a row stores in the columns `type` and `value`; absent when they make none.
Value valueOfRow(sqlite3_stmt *row, int type, int value);
/// Binds both columns of a value; data must outlive the use.
void bindValue(StatementUse &use, int type, int column, const Value &value);

/// The records of a list that is stored as rows of its own.
const RecordList *recordsOf(const Value &value) noexcept;

/// Whether the value is a record or holds one, at any depth; such are not stored.
bool containsRecord(const Value &value);

/// What becomes of a key; an absent value removes it.
struct PreferencesChange {
    std::string key;
    Value before;
    Value after;
    /// In the file, of what was handed over.
    std::optional<std::int64_t> number = std::nullopt;
};

} // namespace vmr
