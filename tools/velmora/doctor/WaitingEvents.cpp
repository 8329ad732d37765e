#include "doctor/WaitingEvents.h"

#include <msgpack/unpack.hpp>

#include <bit>
#include <cstdint>
#include <string_view>

namespace velmora::doctor {
namespace {

constexpr std::string_view header("VMRA\1", 5);
constexpr std::int8_t recordExtension = 1;
constexpr std::int8_t dateExtension = 2;
constexpr std::size_t deepest = 500;

/// Unpacks the object at `offset` and moves that behind it. Throws what is no object.
msgpack::object_handle unpack(std::string_view bytes, std::size_t &offset) {
    const auto limit = msgpack::unpack_limit(bytes.size(), bytes.size(), bytes.size(), bytes.size(),
                                             bytes.size(), deepest);
    return msgpack::unpack(bytes.data(), bytes.size(), offset, nullptr, nullptr, limit);
}

std::optional<double> dateFrom(const msgpack::object &object) {
    if (object.type != msgpack::type::EXT || object.via.ext.type() != dateExtension ||
        object.via.ext.size != sizeof(std::uint64_t))
        return std::nullopt;
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < sizeof bits; ++i)
        bits = bits << 8 | static_cast<unsigned char>(object.via.ext.data()[i]);
    return std::bit_cast<double>(bits);
}

/// The date of an event: a record of its class and its fields.
std::optional<double> dateOfEvent(const msgpack::object &event) {
    if (event.type != msgpack::type::EXT || event.via.ext.type() != recordExtension)
        return std::nullopt;
    const std::string_view record(event.via.ext.data(), event.via.ext.size);
    std::size_t offset = 0;
    unpack(record, offset); // the class
    const msgpack::object_handle fields = unpack(record, offset);
    if (fields->type != msgpack::type::MAP)
        return std::nullopt;
    for (std::uint32_t i = 0; i < fields->via.map.size; ++i) {
        const msgpack::object_kv &field = fields->via.map.ptr[i];
        if (field.key.type == msgpack::type::STR &&
            std::string_view(field.key.via.str.ptr, field.key.via.str.size) == "date")
            return dateFrom(field.val);
    }
    return std::nullopt;
}

} // namespace

std::optional<WaitingEvents> readWaitingEvents(const std::string &archive) {
    if (!archive.starts_with(header))
        return std::nullopt;
    try {
        std::size_t offset = header.size();
        const msgpack::object_handle root = unpack(archive, offset);
        if (root->type != msgpack::type::ARRAY)
            return std::nullopt;
        WaitingEvents events;
        events.count = root->via.array.size;
        for (std::size_t i = 0; i < events.count && !events.oldest; ++i)
            events.oldest = dateOfEvent(root->via.array.ptr[i]);
        return events;
    } catch (const std::exception &) {
        return std::nullopt; // whatever the unpacker has against it
    }
}

} // namespace velmora::doctor
