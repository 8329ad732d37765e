#include "platform/KeyedArchive.h"

#include "platform/ArchivableClasses.h"
#include "platform/ArchiveFormat.h"
#include "platform/Text.h"
#include "platform/ValueBuilder.h"

#include <msgpack.hpp>

#include <bit>

namespace vmr {
namespace {

/// Where the packer puts its bytes.
struct ByteSink {
    std::string bytes;
    void write(const char *data, std::size_t size) { bytes.append(data, size); }
};

using Packer = msgpack::packer<ByteSink>;

void pack(ByteSink &sink, const Value &value);

void packString(ByteSink &sink, std::string_view text) {
    const auto size = static_cast<std::uint32_t>(text.size());
    Packer(sink).pack_str(size).pack_str_body(text.data(), size);
}

void packData(ByteSink &sink, std::string_view bytes) {
    const auto size = static_cast<std::uint32_t>(bytes.size());
    Packer(sink).pack_bin(size).pack_bin_body(bytes.data(), size);
}

void packExtension(ByteSink &sink, ArchiveExtension type, std::size_t size) {
    Packer(sink).pack_ext(size, static_cast<std::int8_t>(type));
}

void packDoubleBody(ByteSink &sink, double real) {
    const auto bits = std::bit_cast<std::uint64_t>(real);
    for (int shift = 56; shift >= 0; shift -= 8)
        sink.bytes += static_cast<char>(bits >> shift & 0xFF);
}

/// The packer would turn whole reals into integers.
void packReal(ByteSink &sink, double real) {
    constexpr char float64 = '\xCB';
    sink.bytes += float64;
    packDoubleBody(sink, real);
}

void packDate(ByteSink &sink, Date date) {
    packExtension(sink, ArchiveExtension::date, sizeof(double));
    packDoubleBody(sink, date.secondsSince1970);
}

void packList(ByteSink &sink, const List &list) {
    Packer(sink).pack_array(static_cast<std::uint32_t>(list.size()));
    for (const Value &value : list)
        pack(sink, value);
}

void packDictionary(ByteSink &sink, const Dictionary &dictionary) {
    Packer(sink).pack_map(static_cast<std::uint32_t>(dictionary.size()));
    for (const auto &[key, value] : dictionary) {
        packString(sink, key);
        pack(sink, value);
    }
}

void pack(ByteSink &sink, const Value &value) {
    switch (value.type()) {
    case Value::Type::absent:
        packExtension(sink, ArchiveExtension::absent, 0);
        break;
    case Value::Type::null:
        Packer(sink).pack_nil();
        break;
    case Value::Type::boolean:
        Packer(sink).pack(*value.asBoolean());
        break;
    case Value::Type::integer:
        Packer(sink).pack_int64(*value.asInteger());
        break;
    case Value::Type::real:
        packReal(sink, *value.asReal());
        break;
    case Value::Type::string:
        packString(sink, *value.asString());
        break;
    case Value::Type::date:
        packDate(sink, *value.asDate());
        break;
    case Value::Type::data:
        packData(sink, value.asData()->bytes());
        break;
    case Value::Type::list:
        packList(sink, *value.asList());
        break;
    case Value::Type::dictionary:
        packDictionary(sink, *value.asDictionary());
        break;
    case Value::Type::record:
        sink.bytes += value.asRecord()->encodedForm().bytes();
        break;
    }
}

class FieldEncoder final : public KeyedEncoder {
public:
    void encodeObject(const Value &object, std::string_view key) override {
        packString(sink_, key);
        pack(sink_, object);
        ++count_;
    }
    void encodeBool(bool value, std::string_view key) override {
        encodeObject(Value::boolean(value), key);
    }
    void encodeInteger(std::int64_t value, std::string_view key) override {
        encodeObject(Value::integer(value), key);
    }

    std::uint32_t count() const { return count_; }
    const std::string &bytes() const { return sink_.bytes; }

private:
    ByteSink sink_;
    std::uint32_t count_ = 0;
};

class FieldDecoder final : public KeyedDecoder {
public:
    explicit FieldDecoder(const Dictionary &fields) : fields_(fields) {}

    bool containsValueForKey(std::string_view key) const override { return fields_.contains(key); }
    Value decodeObject(std::string_view key) const override { return valueForKey(fields_, key); }
    bool decodeBool(std::string_view key) const override {
        return decodeObject(key).asBoolean().value_or(false);
    }
    std::int64_t decodeInteger(std::string_view key) const override {
        return decodeObject(key).asInteger().value_or(0);
    }

private:
    const Dictionary &fields_;
};

/// Takes one object off the front of `bytes`; nothing when it is damaged, cut or too deep.
std::optional<Value> takeObject(std::string_view &bytes, std::size_t depthLimit);

Value readDate(std::string_view payload) {
    std::uint64_t bits = 0;
    for (const char byte : payload)
        bits = bits << 8 | static_cast<unsigned char>(byte);
    return Value::date(Date{std::bit_cast<double>(bits)});
}

std::optional<Value> readRecord(std::string_view payload, std::size_t depthLimit) {
    const std::optional<Value> name = takeObject(payload, depthLimit);
    if (!name || name->asString() == nullptr)
        return std::nullopt;
    const RecordFactory factory = recordFactoryForClass(*name->asString());
    const std::optional<Value> fields = takeObject(payload, depthLimit);
    if (factory == nullptr || !fields || fields->asDictionary() == nullptr || !payload.empty())
        return std::nullopt;
    Value record = Value::record(factory(FieldDecoder(*fields->asDictionary())));
    return record.isAbsent() ? std::nullopt : std::optional(std::move(record));
}

/// Takes the unpacker's events. Each returns whether to go on.
class ArchiveVisitor : public msgpack::null_visitor {
public:
    explicit ArchiveVisitor(std::size_t depthLimit) : builder_(depthLimit) {}

    bool visit_nil() { return add(Value::null()); }
    bool visit_boolean(bool value) { return add(Value::boolean(value)); }
    bool visit_positive_integer(std::uint64_t value) {
        return std::in_range<std::int64_t>(value) &&
               add(Value::integer(static_cast<std::int64_t>(value)));
    }
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

    const std::optional<Value> &root() const { return builder_.root(); }

private:
    bool add(Value value) {
        if (atKey_)
            return false;
        builder_.add(std::move(value));
        return true;
    }

    bool addRecord(std::string_view payload) {
        if (atKey_ || builder_.depthLeft() == 0)
            return false;
        std::optional<Value> record = readRecord(payload, builder_.depthLeft() - 1);
        return record && add(*std::move(record));
    }

    ValueBuilder builder_;
    bool atKey_ = false;
};

std::optional<Value> takeObject(std::string_view &bytes, std::size_t depthLimit) {
    ArchiveVisitor visitor(depthLimit);
    std::size_t taken = 0;
    if (!msgpack::parse(bytes.data(), bytes.size(), taken, visitor))
        return std::nullopt;
    bytes.remove_prefix(taken);
    return visitor.root();
}

Data archiveOf(ByteSink sink) {
    return Data(std::move(sink.bytes));
}

} // namespace

Data Archivable::encodedForm() const {
    return encodeRecord(*this);
}

Data encodeRecord(const Archivable &record) {
    FieldEncoder fields;
    record.encodeWithCoder(fields);
    ByteSink head;
    packString(head, record.archiveClassName());
    Packer(head).pack_map(fields.count());

    constexpr std::size_t longestExtensionHead = 6;
    const std::size_t payloadSize = head.bytes.size() + fields.bytes().size();
    ByteSink whole;
    whole.bytes.reserve(longestExtensionHead + payloadSize);
    packExtension(whole, ArchiveExtension::record, payloadSize);
    whole.bytes += head.bytes;
    whole.bytes += fields.bytes();
    return archiveOf(std::move(whole));
}

Data archivedDataWithRootObject(const Value &root) {
    ByteSink sink{std::string(archiveHeader)};
    pack(sink, root);
    return archiveOf(std::move(sink));
}

RecordListArchiver::RecordListArchiver(std::size_t count) {
    forms_.reserve(count);
}

void RecordListArchiver::add(const Archivable &record) {
    forms_.push_back(record.encodedForm());
}

Data RecordListArchiver::finish() && {
    ByteSink sink{std::string(archiveHeader)};
    Packer(sink).pack_array(static_cast<std::uint32_t>(forms_.size()));
    std::size_t size = sink.bytes.size();
    for (const Data &form : forms_)
        size += form.size();
    sink.bytes.reserve(size);
    for (const Data &form : forms_)
        sink.bytes += form.bytes();
    return archiveOf(std::move(sink));
}

std::optional<Value> unarchiveObjectWithData(const Data &archive) {
    std::string_view bytes = archive.bytes();
    if (!bytes.starts_with(archiveHeader))
        return std::nullopt;
    bytes.remove_prefix(archiveHeader.size());
    std::optional<Value> root = takeObject(bytes, maximumNestingDepth);
    return bytes.empty() ? root : std::nullopt;
}

} // namespace vmr
