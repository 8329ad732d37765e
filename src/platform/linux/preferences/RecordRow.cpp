#include "platform/linux/preferences/RecordRow.h"

#include "platform/KeyedArchive.h"
#include "platform/TaggedJSON.h"
#include "platform/Text.h"
#include "platform/linux/preferences/PreferencesColumn.h"
#include "platform/linux/preferences/SQLiteConnection.h"

#include <sqlite3.h>
#include <zlib.h>

#include <array>
#include <cmath>
#include <span>
#include <utility>

namespace vmr {
namespace {

constexpr std::string_view dateField = "date";
constexpr std::string_view stringField = "consentString";
/// Deeper than any value by the record that holds it.
constexpr std::size_t deepestFields = maximumNestingDepth + 1;

/// Takes a field out that fits its column.
Value takeOut(Dictionary &fields, std::string_view key, Value::Type type) {
    const auto found = fields.find(key);
    if (found == fields.end() || found->second.type() != type)
        return {};
    // SQLite stores no NaN.
    if (const Date *date = found->second.asDate(); date && std::isnan(date->secondsSince1970))
        return {};
    Value value = std::move(found->second);
    fields.erase(found);
    return value;
}

/// What tells a damaged row.
std::int64_t checksumOf(std::string_view list, std::string_view className, double date,
                        std::string_view string, std::string_view fields) {
    const std::string_view dateBytes(reinterpret_cast<const char *>(&date), sizeof date);
    uLong sum = ::crc32(0, nullptr, 0);
    for (const std::string_view part : {list, className, dateBytes, string, fields}) {
        if (!part.empty()) // nothing at all would begin the sum again
            sum = ::crc32_z(sum, reinterpret_cast<const Bytef *>(part.data()), part.size());
    }
    return static_cast<std::int64_t>(sum);
}

} // namespace

void bindRecord(StatementUse &use, int first, std::string_view list, const Archivable &record) {
    Dictionary fields = fieldsOfRecord(record);
    // A missing field reads as absent; JSON has no other word for that.
    std::erase_if(fields, [](const auto &field) { return field.second.isAbsent(); });
    const Value date = takeOut(fields, dateField, Value::Type::date);
    const Value consent = takeOut(fields, stringField, Value::Type::string);
    const std::string_view className = record.archiveClassName();
    double seconds = 0;
    std::string_view string;
    std::string json;
    use.bind(first, list).bind(first + 1, className);
    if (!date.isAbsent())
        use.bind(first + 2, seconds = date.asDate()->secondsSince1970);
    if (!consent.isAbsent())
        use.bind(first + 3, string = *consent.asString());
    if (!fields.empty())
        use.bind(first + 4, json = writeTaggedJSON(Value::dictionary(std::move(fields))));
    use.bind(first + 5, checksumOf(list, className, seconds, string, json));
}

RecordList::Record recordOfRow(sqlite3_stmt *row, int first) {
    // Asked first: afterwards the columns are what they were converted to.
    std::array<bool, 5> holds{};
    for (std::size_t at = 0;
         const int type : {SQLITE_TEXT, SQLITE_FLOAT, SQLITE_TEXT, SQLITE_TEXT, SQLITE_INTEGER}) {
        const int held = sqlite3_column_type(row, first + static_cast<int>(at));
        if (held != type && held != SQLITE_NULL)
            return nullptr;
        holds[at++] = held != SQLITE_NULL;
    }
    const auto &[hasClass, hasDate, hasString, hasFields, isChecked] = holds;
    const std::string_view className = textOfColumn(row, first);
    const double seconds = sqlite3_column_double(row, first + 1);
    const std::string_view string = textOfColumn(row, first + 2);
    const std::string_view json = textOfColumn(row, first + 3);
    // A row that somebody wrote by hand may do without.
    if (isChecked && sqlite3_column_int64(row, first + 4) !=
                         checksumOf(textOfColumn(row, first - 1), className, seconds, string, json))
        return nullptr;
    Dictionary fields;
    if (!json.empty()) {
        const std::optional<Value> read = readTaggedJSON(json, deepestFields);
        if (!read || read->asDictionary() == nullptr)
            return nullptr;
        fields = *read->asDictionary();
    }
    if (hasString && !isValidUTF8(string))
        return nullptr;
    std::array<KeyedDecoder::Field, 2> columns;
    std::size_t count = 0;
    if (hasDate)
        columns[count++] = {dateField, Value::date(Date{seconds})};
    if (hasString)
        columns[count++] = {stringField, Value::string(std::string(string))};
    return recordWithFields(className, fields, std::span(columns).first(count));
}

} // namespace vmr
