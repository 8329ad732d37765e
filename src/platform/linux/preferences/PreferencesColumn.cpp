#include "platform/linux/preferences/PreferencesColumn.h"

#include "platform/KeyedArchive.h"
#include "platform/TaggedJSON.h"
#include "platform/Text.h"

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

namespace vmr {

std::string_view textOfColumn(sqlite3_stmt *row, int column) {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(row, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(row, column));
    return text ? std::string_view(text, size) : std::string_view{};
}

namespace {

std::string_view blobOfColumn(sqlite3_stmt *row, int column) {
    const auto *bytes = static_cast<const char *>(sqlite3_column_blob(row, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(row, column));
    return bytes ? std::string_view(bytes, size) : std::string_view{};
}

/// The records stand in their own table.
constexpr std::string_view recordsType = "records";

std::string_view typeName(const Value &value) {
    switch (value.type()) {
    case Value::Type::null:
        return "null";
    case Value::Type::boolean:
        return "boolean";
    case Value::Type::integer:
        return "integer";
    case Value::Type::real:
        return "real";
    case Value::Type::string:
        return "string";
    case Value::Type::date:
        return "date";
    case Value::Type::data:
        return value.asData()->records() != nullptr ? recordsType : "data";
    case Value::Type::list:
        return "list";
    case Value::Type::dictionary:
        return "dictionary";
    case Value::Type::absent:
    case Value::Type::record:
        break;
    }
    return {};
}

/// SQLite stores no NaN: its place is taken by NULL.
int bindReal(sqlite3_stmt *statement, int index, double number) {
    return std::isnan(number) ? sqlite3_bind_null(statement, index)
                              : sqlite3_bind_double(statement, index, number);
}

bool isReal(sqlite3_stmt *row, int column, double number) {
    if (std::isnan(number))
        return sqlite3_column_type(row, column) == SQLITE_NULL;
    const int storage = sqlite3_column_type(row, column);
    return (storage == SQLITE_FLOAT || storage == SQLITE_INTEGER) &&
           sqlite3_column_double(row, column) == number;
}

Value readStructured(sqlite3_stmt *row, int column, Value::Type wanted) {
    if (sqlite3_column_type(row, column) != SQLITE_TEXT)
        return {};
    const std::optional<Value> value = readTaggedJSON(textOfColumn(row, column));
    return value && value->type() == wanted ? *value : Value();
}

/// A value of the named type, or absent. Numbers are taken in either storage class: the type of an
/// SQLite column binds nobody who writes into it from outside.
Value readValue(std::string_view type, sqlite3_stmt *row, int column) {
    const int storage = sqlite3_column_type(row, column);
    const bool number = storage == SQLITE_INTEGER || storage == SQLITE_FLOAT;
    if (type == "string" && storage == SQLITE_TEXT) {
        const std::string_view text = textOfColumn(row, column);
        return isValidUTF8(text) ? Value::string(std::string(text)) : Value();
    }
    if (type == recordsType && storage == SQLITE_NULL)
        return Value::data(archivedDataWithRecords({}));
    if (type == "data" && storage == SQLITE_BLOB)
        return Value::data(Data(std::string(blobOfColumn(row, column))));
    if (type == "date" && number)
        return Value::date(Date{sqlite3_column_double(row, column)});
    if (type == "integer" && storage == SQLITE_INTEGER)
        return Value::integer(sqlite3_column_int64(row, column));
    if (type == "real" && number)
        return Value::real(sqlite3_column_double(row, column));
    if (type == "real" && storage == SQLITE_NULL)
        return Value::real(std::numeric_limits<double>::quiet_NaN());
    if (type == "boolean" && storage == SQLITE_INTEGER)
        return Value::boolean(sqlite3_column_int64(row, column) != 0);
    if (type == "null" && storage == SQLITE_NULL)
        return Value::null();
    if (type == "list")
        return readStructured(row, column, Value::Type::list);
    if (type == "dictionary")
        return readStructured(row, column, Value::Type::dictionary);
    return {};
}

} // namespace

const RecordList *PreferencesColumn::records() const noexcept {
    const Data *data = value_.asData();
    return data != nullptr ? data->records() : nullptr;
}

std::string_view PreferencesColumn::text() const {
    if (const std::string *string = value_.asString())
        return *string;
    if (const Data *data = value_.asData())
        return data->bytes();
    return json_.bytes();
}

std::optional<PreferencesColumn> PreferencesColumn::encode(const Value &value) {
    const std::string_view type = typeName(value);
    if (type.empty() || containsRecord(value))
        return std::nullopt;
    PreferencesColumn result(value, type);
    if (value.asList() || value.asDictionary())
        result.json_ = Data(writeTaggedJSON(value));
    return result;
}

PreferencesKey PreferencesKey::read(sqlite3_stmt *row, int column) {
    // Asked first: afterwards the column is what it was converted to.
    const bool isText = sqlite3_column_type(row, column) == SQLITE_TEXT;
    PreferencesKey result{std::string(textOfColumn(row, column))};
    result.isValid = isText && isValidUTF8(result.text);
    if (!isText) // not to be taken for the key with the same text
        result.text.insert(0, "no text: ");
    return result;
}

std::optional<PreferencesColumn> PreferencesColumn::read(sqlite3_stmt *row, int type, int value) {
    const Value content = readValue(textOfColumn(row, type), row, value);
    if (content.isAbsent())
        return std::nullopt;
    PreferencesColumn result(content, typeName(content));
    if (content.asList() || content.asDictionary())
        result.json_ = Data(std::string(textOfColumn(row, value)));
    return result;
}

int PreferencesColumn::bind(sqlite3_stmt *statement, int type, int value) const {
    const int bound = sqlite3_bind_text(statement, type, type_.data(),
                                        static_cast<int>(type_.size()), SQLITE_STATIC);
    if (bound != SQLITE_OK)
        return bound;
    if (records() != nullptr)
        return sqlite3_bind_null(statement, value);
    const std::string_view bytes = text();
    switch (value_.type()) {
    case Value::Type::boolean:
        return sqlite3_bind_int(statement, value, value_.asBoolean().value_or(false));
    case Value::Type::integer:
        return sqlite3_bind_int64(statement, value, value_.asInteger().value_or(0));
    case Value::Type::real:
        return bindReal(statement, value, value_.asReal().value_or(0));
    case Value::Type::date:
        return bindReal(statement, value, value_.asDate()->secondsSince1970);
    case Value::Type::data:
        // A null pointer would make NULL of an empty blob.
        return sqlite3_bind_blob64(statement, value, bytes.empty() ? "" : bytes.data(),
                                   bytes.size(), SQLITE_STATIC);
    case Value::Type::string:
    case Value::Type::list:
    case Value::Type::dictionary:
        return sqlite3_bind_text64(statement, value, bytes.data(), bytes.size(), SQLITE_STATIC,
                                   SQLITE_UTF8);
    default:
        return sqlite3_bind_null(statement, value);
    }
}

bool PreferencesColumn::isStoredIn(sqlite3_stmt *row, int type, int value) const {
    if (textOfColumn(row, type) != type_ || records() != nullptr)
        return false;
    const int storage = sqlite3_column_type(row, value);
    switch (value_.type()) {
    case Value::Type::boolean:
        return storage == SQLITE_INTEGER &&
               (sqlite3_column_int64(row, value) != 0) == value_.asBoolean().value_or(false);
    case Value::Type::integer:
        return storage == SQLITE_INTEGER &&
               sqlite3_column_int64(row, value) == value_.asInteger().value_or(0);
    case Value::Type::real:
        return isReal(row, value, value_.asReal().value_or(0));
    case Value::Type::date:
        return isReal(row, value, value_.asDate()->secondsSince1970);
    case Value::Type::data:
        return storage == SQLITE_BLOB && blobOfColumn(row, value) == text();
    case Value::Type::string:
    case Value::Type::list:
    case Value::Type::dictionary:
        return storage == SQLITE_TEXT && textOfColumn(row, value) == text();
    default:
        return storage == SQLITE_NULL;
    }
}

bool PreferencesColumn::operator==(const PreferencesColumn &other) const {
    if (type_ != other.type_)
        return false;
    if (value_.isIdenticalTo(other.value_))
        return true;
    switch (value_.type()) {
    case Value::Type::string:
    case Value::Type::data:
    case Value::Type::list:
    case Value::Type::dictionary:
        return text() == other.text();
    default:
        return value_.isEqualTo(other.value_);
    }
}

bool containsRecord(const Value &value) {
    if (value.asRecord())
        return true;
    if (const List *list = value.asList())
        return std::any_of(list->begin(), list->end(), containsRecord);
    if (const Dictionary *dictionary = value.asDictionary())
        return std::any_of(dictionary->begin(), dictionary->end(),
                           [](const auto &entry) { return containsRecord(entry.second); });
    return false;
}

} // namespace vmr
