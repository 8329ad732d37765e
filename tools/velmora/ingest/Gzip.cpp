#include "ingest/Gzip.h"

#include <zlib.h>

#include <array>
#include <cstdint>

namespace velmora::ingest {
namespace {

constexpr std::size_t longestText = std::size_t{64} << 20;
/// Window of 32 KiB, gzip wrapper required.
constexpr int gzipWindowBits = 15 + 16;
constexpr std::size_t extraFlagsOffset = 8;
constexpr char bestCompressionFlag = 2;

/// zlib's memory, which is more than most bodies take: kept from one body to the next.
struct Inflating {
    Inflating() = default;
    Inflating(const Inflating &) = delete;
    Inflating &operator=(const Inflating &) = delete;
    ~Inflating() {
        if (isReady)
            inflateEnd(&stream);
    }
    z_stream stream{};
    bool isReady = inflateInit2(&stream, gzipWindowBits) == Z_OK;
};

} // namespace

GzipText readGzip(const std::string &bytes) {
    if (bytes.empty())
        return {"there is no body", {}};
    if (!bytes.starts_with("\x1f\x8b"))
        return {"the body is not gzip", {}};

    thread_local Inflating inflating;
    z_stream &stream = inflating.stream;
    if (!inflating.isReady || inflateReset(&stream) != Z_OK)
        return {"zlib cannot start", {}};
    stream.next_in = const_cast<Bytef *>( // the library only reads it; NOLINT
        reinterpret_cast<const Bytef *>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());

    std::string text;
    std::array<char, 65536> piece;
    int status = Z_OK;
    while (status == Z_OK && text.size() <= longestText) {
        stream.next_out = reinterpret_cast<Bytef *>(piece.data());
        stream.avail_out = static_cast<uInt>(piece.size());
        status = inflate(&stream, Z_NO_FLUSH);
        text.append(piece.data(), piece.size() - stream.avail_out);
    }

    if (text.size() > longestText)
        return {"the body holds more than 64 MiB", {}};
    if (status == Z_BUF_ERROR)
        return {"the gzip data is cut off", {}};
    if (status != Z_STREAM_END)
        return {"the gzip data is damaged", {}};
    if (stream.avail_in != 0)
        return {std::to_string(stream.avail_in) + " bytes follow the gzip data", {}};
    return {{}, std::move(text)};
}

std::size_t promisedLength(std::string_view bytes) {
    std::size_t length = 0;
    for (std::size_t i = 1; i <= sizeof(std::uint32_t) && i <= bytes.size(); ++i)
        length = length << 8 | static_cast<unsigned char>(bytes[bytes.size() - i]);
    return length;
}

bool isBestCompression(const std::string &bytes) {
    return bytes.size() > extraFlagsOffset && bytes[extraFlagsOffset] == bestCompressionFlag;
}

} // namespace velmora::ingest
