#include "platform/KeyedArchive.h"

#include <msgpack/pack.hpp>

#include <bit>
#include <utility>

namespace vmr {
namespace {

/// Where the packer puts its bytes.
struct ByteSink {
    std::string bytes;
    void write(const char *data, std::size_t size) { bytes.append(data, size); }
};

using Packer = msgpack::packer<ByteSink>;

void pack(ByteSink &sink, const Value &value);
void packRecord(ByteSink &sink, const Archivable &record);

void packString(ByteSink &sink, std::string_view text) {
    const auto size = static_cast<std::uint32_t>(text.size());
    Packer(sink).pack_str(size).pack_str_body(text.data(), size);
}

void packExtension(ByteSink &sink, ArchiveExtension type, std::size_t size) {
    Packer(sink).pack_ext(size, static_cast<std::int8_t>(type));
}

void packDoubleBody(ByteSink &sink, double real) {
    const auto bits = std::bit_cast<std::uint64_t>(real);
    for (int shift = 56; shift >= 0; shift -= 8)
        sink.bytes += static_cast<char>(bits >> shift & 0xFF);
}

void packDictionary(ByteSink &sink, const Dictionary &dictionary) {
    Packer(sink).pack_map(static_cast<std::uint32_t>(dictionary.size()));
    for (const auto &[key, value] : dictionary) {
        packString(sink, key);
        pack(sink, value);
    }
}

void pack(ByteSink &sink, const Value &value) {
    Packer packer(sink);
    switch (value.type()) {
    case Value::Type::absent:
        return packExtension(sink, ArchiveExtension::absent, 0);
    case Value::Type::null:
        packer.pack_nil();
        return;
    case Value::Type::boolean:
        if (*value.asBoolean())
            packer.pack_true();
        else
            packer.pack_false();
        return;
    case Value::Type::integer:
        if (const auto large = value.asLargeInteger())
            packer.pack_uint64(*large);
        else
            packer.pack_int64(*value.asInteger());
        return;
    case Value::Type::real:
        sink.bytes += '\xCB'; // float 64: the packer would turn whole reals into integers
        return packDoubleBody(sink, *value.asReal());
    case Value::Type::string:
        return packString(sink, *value.asString());
    case Value::Type::date:
        packExtension(sink, ArchiveExtension::date, sizeof(double));
        return packDoubleBody(sink, value.asDate()->secondsSince1970);
    case Value::Type::data: {
        const std::string_view bytes = value.asData()->bytes();
        const auto size = static_cast<std::uint32_t>(bytes.size());
        packer.pack_bin(size).pack_bin_body(bytes.data(), size);
        return;
    }
    case Value::Type::list:
        packer.pack_array(static_cast<std::uint32_t>(value.asList()->size()));
        for (const Value &element : *value.asList())
            pack(sink, element);
        return;
    case Value::Type::dictionary:
        return packDictionary(sink, *value.asDictionary());
    case Value::Type::record:
        return packRecord(sink, *value.asRecord());
    }
}

void packRecord(ByteSink &sink, const Archivable &record) {
    ByteSink content;
    packString(content, record.archiveClassName());
    packDictionary(content, fieldsOfRecord(record));
    packExtension(sink, ArchiveExtension::record, content.bytes.size());
    sink.bytes += content.bytes;
}

/// Keeps records instead of the bytes of their archive.
class RecordListArchive final : public ByteSource {
public:
    explicit RecordListArchive(RecordList records) : records_(std::move(records)) {}

    std::string makeBytes() const override {
        ByteSink sink{std::string(archiveHeader)};
        Packer(sink).pack_array(static_cast<std::uint32_t>(records_.size()));
        for (std::size_t index = 0; index < records_.size(); ++index)
            packRecord(sink, *records_[index]);
        return std::move(sink.bytes);
    }
    const RecordList *records() const noexcept override { return &records_; }

private:
    const RecordList records_;
};

} // namespace

Data archivedDataWithRootObject(const Value &root) {
    ByteSink sink{std::string(archiveHeader)};
    pack(sink, root);
    return Data(std::move(sink.bytes));
}

Data archivedDataWithRecords(RecordList records) {
    return Data(std::make_unique<RecordListArchive>(std::move(records)));
}

} // namespace vmr
