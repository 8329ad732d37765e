#include "platform/KeyedArchive.h"
#include "platform/Text.h"
#include "platform/ValueBuilder.h"

#include <msgpack/null_visitor.hpp>
#include <msgpack/unpack.hpp>

#include <bit>
#include <utility>

namespace vmr {
namespace {

/// A value that came in as deep as it may still stands inside a list, a record and its fields here:
/// one such value must not make the whole list unreadable.
constexpr std::size_t deepestArchive = maximumNestingDepth + 3;

/// Takes one object off the front of `bytes`; nothing when it is damaged, cut or too deep, or holds
/// more than `elements`, which is how many may follow.
std::optional<Value> takeObject(std::string_view &bytes, std::size_t depthLimit,
                                std::size_t &elements);

Value readDate(std::string_view payload) {
    std::uint64_t bits = 0;
    for (const char byte : payload)
        bits = bits << 8 | static_cast<unsigned char>(byte);
    return Value::date(Date{std::bit_cast<double>(bits)});
}

/// Absent where there is none.
Value readRecord(std::string_view payload, std::size_t depthLimit, std::size_t &elements) {
    const std::optional<Value> name = takeObject(payload, depthLimit, elements);
    if (!name || name->asString() == nullptr)
        return {};
    const std::optional<Value> fields = takeObject(payload, depthLimit, elements);
    if (!fields || fields->asDictionary() == nullptr || !payload.empty())
        return {};
    return Value::record(recordWithFields(*name->asString(), *fields->asDictionary()));
}

/// Takes the unpacker's events. Each returns whether to go on.
class ArchiveVisitor : public msgpack::null_visitor {
public:
    ArchiveVisitor(std::size_t depthLimit, std::size_t elements) : builder_(depthLimit, elements) {}

    bool visit_nil() { return add(Value::null()); }
    bool visit_boolean(bool value) { return add(Value::boolean(value)); }
    bool visit_positive_integer(std::uint64_t value) { return add(Value::unsignedInteger(value)); }
    bool visit_negative_integer(std::int64_t value) { return add(Value::integer(value)); }
    bool visit_float32(float value) { return add(Value::real(static_cast<double>(value))); }
    bool visit_float64(double value) { return add(Value::real(value)); }
    bool visit_str(const char *text, std::uint32_t size) {
        const std::string_view utf8(text, size);
        if (!isValidUTF8(utf8))
            return false;
        if (!atKey_)
            return add(Value::string(std::string(utf8)));
        builder_.setKey(std::string(utf8));
        return true;
    }
    bool visit_bin(const char *bytes, std::uint32_t size) {
        return add(Value::data(Data(std::string(bytes, size))));
    }
    /// The first of the `size` bytes is the extension's type.
    bool visit_ext(const char *bytes, std::uint32_t size) {
        if (size == 0)
            return false;
        const std::string_view payload(bytes + 1, size - 1);
        switch (static_cast<ArchiveExtension>(bytes[0])) {
        case ArchiveExtension::absent:
            return payload.empty() && add(Value());
        case ArchiveExtension::date:
            return payload.size() == sizeof(double) && add(readDate(payload));
        case ArchiveExtension::record:
            return addRecord(payload);
        }
        return false;
    }

    bool start_array(std::uint32_t) { return !atKey_ && builder_.beginList(); }
    bool end_array() { return add(builder_.end()); }
    bool start_map(std::uint32_t) { return !atKey_ && builder_.beginDictionary(); }
    bool end_map() { return add(builder_.end()); }
    bool start_map_key() {
        atKey_ = true;
        return true;
    }
    bool end_map_key() {
        atKey_ = false;
        return true;
    }

    ValueBuilder &builder() { return builder_; }

private:
    bool add(Value value) { return !atKey_ && builder_.add(std::move(value)); }

    bool addRecord(std::string_view payload) {
        if (atKey_ || builder_.depthLeft() == 0)
            return false;
        Value record = readRecord(payload, builder_.depthLeft() - 1, builder_.elementsLeft());
        return !record.isAbsent() && add(std::move(record));
    }

    ValueBuilder builder_;
    bool atKey_ = false;
};

std::optional<Value> takeObject(std::string_view &bytes, std::size_t depthLimit,
                                std::size_t &elements) {
    ArchiveVisitor visitor(depthLimit, elements);
    std::size_t taken = 0;
    if (!msgpack::parse(bytes.data(), bytes.size(), taken, visitor))
        return std::nullopt;
    bytes.remove_prefix(taken);
    elements = visitor.builder().elementsLeft();
    return visitor.builder().root();
}

} // namespace

std::optional<Value> unarchiveObjectWithData(const Data &archive) {
    if (const RecordList *records = archive.records()) {
        List list;
        for (std::size_t index = 0; index < records->size(); ++index)
            list.push_back(Value::record((*records)[index]));
        return Value::list(std::move(list));
    }
    std::string_view bytes = archive.bytes();
    if (!bytes.starts_with(archiveHeader))
        return std::nullopt;
    bytes.remove_prefix(archiveHeader.size());
    std::size_t elements = mostElements;
    std::optional<Value> root = takeObject(bytes, deepestArchive, elements);
    return bytes.empty() ? root : std::nullopt;
}

std::optional<RecordList> archivedRecords(const Data &archive) {
    if (const RecordList *records = archive.records())
        return *records;
    const std::optional<Value> root = unarchiveObjectWithData(archive);
    const List *list = root ? root->asList() : nullptr;
    if (list == nullptr)
        return std::nullopt;
    RecordList records;
    for (const Value &element : *list) {
        RecordList::Record record = element.asRecord();
        if (!record)
            return std::nullopt;
        records.push_back(std::move(record));
    }
    return records;
}

} // namespace vmr
