#include "fuzz/Fuzzer.h"
#include "platform/KeyedArchive.h"
#include "platform/linux/preferences/PreferencesColumn.h"
#include "platform/linux/preferences/RecordRow.h"
#include "platform/linux/preferences/SQLiteConnection.h"

#include <sqlite3.h>

#include <array>

using namespace vmr;

namespace {

class Note final : public Archivable {
public:
    explicit Note(const KeyedDecoder &coder) {
        for (const char *key : {"date", "consentString", "content"})
            fields_.emplace_back(key, coder.decodeObject(key));
    }
    std::string_view archiveClassName() const noexcept override { return "Note"; }
    void encodeWithCoder(KeyedEncoder &coder) const override {
        for (const auto &[key, value] : fields_)
            coder.encodeObject(value, key);
    }

private:
    std::vector<std::pair<std::string, Value>> fields_;
};

const bool noteIsRegistered =
    registerArchivableClass("Note", [](const KeyedDecoder &coder) -> std::shared_ptr<Archivable> {
        return std::make_shared<Note>(coder);
    });

constexpr char columns[] = "SELECT ?1,?2,?3,?4,?5,?6";

SQLiteConnection &database() {
    static auto *const inMemory = [] {
        auto *made = new SQLiteConnection;
        made->open(":memory:", SQLiteConnection::Access::readWrite);
        return made;
    }();
    return *inMemory;
}

/// A letter for the storage class, then the text of it.
void bind(sqlite3_stmt *statement, int index, std::string_view column) {
    const char kind = column.empty() ? 'n' : column.front();
    column.remove_prefix(std::min<std::size_t>(1, column.size()));
    const std::string text(column);
    if (kind == 'i')
        sqlite3_bind_int64(statement, index, std::strtoll(text.c_str(), nullptr, 10));
    else if (kind == 'f')
        sqlite3_bind_double(statement, index, std::strtod(text.c_str(), nullptr));
    else if (kind == 't')
        sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8);
    else if (kind == 'b')
        sqlite3_bind_blob64(statement, index, text.data(), text.size(), SQLITE_TRANSIENT);
}

} // namespace

/// Columns, a line each. A value or a record that was read is the same when it was written again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view text = fuzzedBytes(data, size);
    RecordList::Record record;
    Value value;
    {
        StatementUse row(database(), columns);
        for (int index = 1; index <= 6; ++index)
            bind(row.get(), index, takeUntil(text, "\n"));
        require(row.step());
        record = recordOfRow(row.get(), 1);
        value = valueOfRow(row.get(), 0, 1);
    }
    if (!value.isAbsent()) {
        StatementUse row(database(), columns);
        bindValue(row, 1, 2, value);
        require(row.step());
        const Value again = valueOfRow(row.get(), 0, 1);
        require(again.type() == value.type() && again.isEqualTo(value));
    }
    if (record) {
        StatementUse row(database(), columns);
        bindRecord(row, 1, "list", *record);
        require(row.step());
        const RecordList::Record again = recordOfRow(row.get(), 1);
        require(again && archivedDataWithRootObject(Value::record(again)) ==
                             archivedDataWithRootObject(Value::record(record)));
    }
    return 0;
}
