#pragma once

#include "platform/Data.h"
#include "platform/RecordList.h"
#include "platform/Value.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

// The archive's bytes, version 1 (the only one so far): "VMRA", a byte with the version, and one
// MessagePack object, the root. Values are MessagePack's own types: nil is the null marker, bin is
// data, maps have string keys in ascending order. What MessagePack lacks is an extension type:
//   0  absent: no payload
//   1  record: a string with the class name, then a map from coder key to value
//   2  date: seconds since 1970 as an IEEE double, most significant byte first
// Another version, or anything after the root, is not read.

namespace vmr {

/// For the writer and the reader of archives.
inline constexpr std::string_view archiveHeader{"VMRA\x01", 5};
enum class ArchiveExtension : std::int8_t { absent = 0, record = 1, date = 2 };

/// Collects a record's fields, each under its coder key.
class KeyedEncoder {
public:
    /// An absent object still records its key.
    void encodeObject(Value object, std::string_view key) { put(fields_, key, std::move(object)); }
    void encodeBool(bool value, std::string_view key) { encodeObject(Value::boolean(value), key); }
    void encodeInteger(std::int64_t value, std::string_view key) {
        encodeObject(Value::integer(value), key);
    }
    Dictionary takeFields() && { return std::move(fields_); }

private:
    Dictionary fields_;
};

/// Hands out a record's fields, which live longer. A missing key, or a value of another type, reads
/// as absent, false or 0.
class KeyedDecoder {
public:
    using Field = std::pair<std::string_view, Value>;
    /// The `first` fields count before those of the same name.
    explicit KeyedDecoder(const Dictionary &fields, std::span<const Field> first = {})
        : fields_(fields), first_(first) {}
    bool containsValueForKey(std::string_view key) const {
        return find(key) != first_.end() || fields_.contains(key);
    }
    Value decodeObject(std::string_view key) const {
        const auto found = find(key);
        return found != first_.end() ? found->second : valueForKey(fields_, key);
    }
    bool decodeBool(std::string_view key) const {
        return decodeObject(key).asBoolean().value_or(false);
    }
    std::int64_t decodeInteger(std::string_view key) const {
        return decodeObject(key).asInteger().value_or(0);
    }

private:
    std::span<const Field>::iterator find(std::string_view key) const {
        return std::ranges::find(first_, key, &Field::first);
    }

    const Dictionary &fields_;
    std::span<const Field> first_;
};

/// A record that can stand in an archive. Records are registered by class name.
class Archivable {
public:
    virtual std::string_view archiveClassName() const noexcept = 0;
    virtual void encodeWithCoder(KeyedEncoder &coder) const = 0;

protected:
    ~Archivable() = default;
};

/// The record that a value is, or null where it is none or one of another class. Records are told
/// apart by their class names, as in the archive: release builds carry no run-time type
/// information.
template <class Record>
std::shared_ptr<const Record> recordOfClass(const Value &value) {
    std::shared_ptr<const Archivable> record = value.asRecord();
    if (!record || record->archiveClassName() != Record::ClassName)
        return nullptr;
    return std::static_pointer_cast<const Record>(std::move(record));
}

using RecordFactory = std::shared_ptr<Archivable> (*)(const KeyedDecoder &coder);

/// Makes records named `className`, a literal, decodable. Called while the program is loaded, from
/// the record's own source file. The result is always true, to initialise a constant with.
bool registerArchivableClass(std::string_view className, RecordFactory factory);

/// What the record gives a coder, key by key.
Dictionary fieldsOfRecord(const Archivable &record);
/// The record of the named class that reads these fields; null where there is no such class, or it
/// refuses them. Safe from any thread, like everything here.
std::shared_ptr<const Archivable> recordWithFields(std::string_view className,
                                                   const Dictionary &fields,
                                                   std::span<const KeyedDecoder::Field> first = {});

/// The archive of one value with everything it contains (the root may be absent).
Data archivedDataWithRootObject(const Value &root);

/// The archive of a list of records, whose bytes are made when somebody asks for them.
Data archivedDataWithRecords(RecordList records);
/// The records of an archive whose root is a list of nothing else.
std::optional<RecordList> archivedRecords(const Data &archive);

/// The archived root. Nothing when the bytes are no archive, are cut or damaged, or name an
/// unknown record class; an archive of "absent" gives an absent value.
std::optional<Value> unarchiveObjectWithData(const Data &archive);

} // namespace vmr
