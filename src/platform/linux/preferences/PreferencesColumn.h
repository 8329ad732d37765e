#pragma once

#include "platform/Value.h"

#include <optional>
#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace vmr {

/// The text of a row's column, whatever it holds.
std::string_view textOfColumn(sqlite3_stmt *row, int column);

/// What stands in a row's first column.
struct PreferencesKey {
    std::string text;
    bool isValid = false; ///< else `text` only names it

    static PreferencesKey read(sqlite3_stmt *row, int column = 0);
};

/// A value as its row stores it: the type's name and the content of the column "value". Shares the
/// value's bytes. Immutable; safe from any thread.
class PreferencesColumn {
public:
    /// Absent values and records have no column; nothing for a value that holds a record.
    static std::optional<PreferencesColumn> encode(const Value &value);
    /// The row's columns `type` and `value`; nothing when they make no value.
    static std::optional<PreferencesColumn> read(sqlite3_stmt *row, int type, int value);

    const Value &value() const noexcept { return value_; }
    /// The records of a list that is stored as rows of its own.
    const RecordList *records() const noexcept;
    /// SQLite's result code. The column must outlive the statement's next reset.
    int bind(sqlite3_stmt *statement, int type, int value) const;
    /// Whether the row stores the very same.
    bool isStoredIn(sqlite3_stmt *row, int type, int value) const;
    bool operator==(const PreferencesColumn &other) const;

private:
    PreferencesColumn(Value value, std::string_view type) : value_(std::move(value)), type_(type) {}
    std::string_view text() const;

    Value value_;
    std::string_view type_; // a literal
    Data json_;             // of a list or a dictionary
};

/// Absent without a column.
inline Value valueOfColumn(const std::optional<PreferencesColumn> &column) {
    return column ? column->value() : Value();
}

/// A key and what becomes of it; without a column it goes away.
struct PreferencesChange {
    std::string key;
    std::optional<PreferencesColumn> column;
};

/// Whether the value is a record or holds one, at any depth.
bool containsRecord(const Value &value);

} // namespace vmr
