#include "platform/linux/preferences/PreferencesColumn.h"

#include "platform/KeyedArchive.h"
#include "platform/TaggedJSON.h"
#include "platform/Text.h"
#include "platform/linux/preferences/SQLiteConnection.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>

namespace vmr {
namespace {

/// The records stand in their own table.
constexpr std::string_view recordsType = "records";
/// In the order of Value::Type.
constexpr std::array<std::string_view, 11> typeNames = {
    "", "null", "boolean", "integer", "real", "string", "date", "data", "list", "dictionary", ""};

} // namespace

std::string_view textOfColumn(sqlite3_stmt *row, int column) {
    sqlite3_value *const held = sqlite3_column_value(row, column); // looked up once
    const void *bytes = sqlite3_value_type(held) == SQLITE_BLOB ? sqlite3_value_blob(held)
                                                                : sqlite3_value_text(held);
    const auto size = static_cast<std::size_t>(sqlite3_value_bytes(held));
    return bytes ? std::string_view(static_cast<const char *>(bytes), size) : std::string_view{};
}

PreferencesKey PreferencesKey::read(sqlite3_stmt *row) {
    constexpr int column = 1;
    // Asked first: afterwards the column is what it was converted to.
    const bool isText = sqlite3_column_type(row, column) == SQLITE_TEXT;
    PreferencesKey result{std::string(textOfColumn(row, column))};
    result.isValid = isText && isValidUTF8(result.text);
    if (!isText) // not to be taken for the key with the same text
        result.text.insert(0, "no text: ");
    return result;
}

/// Numbers are taken in either storage class: the type of an SQLite column binds nobody who writes
/// into it from outside.
Value valueOfRow(sqlite3_stmt *row, int type, int value) {
    const std::string_view name = textOfColumn(row, type);
    const int storage = sqlite3_column_type(row, value);
    if (storage == SQLITE_INTEGER && name == "integer")
        return Value::integer(sqlite3_column_int64(row, value));
    if (storage == SQLITE_INTEGER && name == "boolean")
        return Value::boolean(sqlite3_column_int64(row, value) != 0);
    if (storage == SQLITE_INTEGER || storage == SQLITE_FLOAT) {
        const double number = sqlite3_column_double(row, value);
        return name == "real"   ? Value::real(number)
               : name == "date" ? Value::date(Date{number})
                                : Value();
    }
    const std::string_view bytes = textOfColumn(row, value);
    if (storage == SQLITE_BLOB && name == "data")
        return Value::data(Data(std::string(bytes)));
    if (storage == SQLITE_TEXT && name == "integer") {
        std::uint64_t number = 0;
        const auto [end, problem] =
            std::from_chars(bytes.data(), bytes.data() + bytes.size(), number);
        return problem == std::errc() && end == bytes.data() + bytes.size()
                   ? Value::unsignedInteger(number)
                   : Value();
    }
    if (storage == SQLITE_TEXT && name == "string")
        return isValidUTF8(bytes) ? Value::string(std::string(bytes)) : Value();
    if (storage == SQLITE_TEXT && (name == "list" || name == "dictionary")) {
        const Value read = readTaggedJSON(bytes).value_or(Value());
        return typeNames[static_cast<std::size_t>(read.type())] == name ? read : Value();
    }
    if (storage != SQLITE_NULL)
        return {};
    return name == recordsType ? Value::data(archivedDataWithRecords({}))
           : name == "real"    ? Value::real(std::numeric_limits<double>::quiet_NaN())
           : name == "null"    ? Value::null()
                               : Value();
}

void bindValue(StatementUse &use, int type, int column, const Value &value) {
    const bool isList = recordsOf(value) != nullptr;
    use.bind(type, isList ? recordsType : typeNames[static_cast<std::size_t>(value.type())]);
    if (isList || value.isNull())
        return;
    if (const auto boolean = value.asBoolean())
        use.bind(column, std::int64_t{*boolean});
    else if (const auto integer = value.asInteger())
        use.bind(column, std::int64_t{*integer});
    else if (value.asLargeInteger())
        use.bind(column, value.description());
    else if (const auto real = value.asReal())
        use.bind(column, double{*real});
    else if (const Date *date = value.asDate())
        use.bind(column, date->secondsSince1970);
    else if (const Data *data = value.asData())
        use.bindBytes(column, data->bytes());
    else if (const std::string *text = value.asString())
        use.bind(column, *text);
    else
        use.bind(column, writeTaggedJSON(value));
}

const RecordList *recordsOf(const Value &value) noexcept {
    const Data *data = value.asData();
    return data != nullptr ? data->records() : nullptr;
}

} // namespace vmr
