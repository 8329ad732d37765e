#pragma once

#include "platform/Value.h"

#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace vmr {

class StatementUse;

/// The text of a row's column, whatever it holds.
std::string_view textOfColumn(sqlite3_stmt *row, int column);

/// What stands in a row's column behind its number.
struct PreferencesKey {
    std::string text;
    bool isValid = false; ///< else `text` only names it

    static PreferencesKey read(sqlite3_stmt *row);
};

/// The value that a row stores in the columns `type` and `value`; absent when they make none.
Value valueOfRow(sqlite3_stmt *row, int type, int value);
/// Binds both columns of a value; data must outlive the use.
void bindValue(StatementUse &use, int type, int column, const Value &value);

/// The records of a list that is stored as rows of its own.
const RecordList *recordsOf(const Value &value) noexcept;

} // namespace vmr
