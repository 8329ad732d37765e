#include "ingest/Gzip.h"

#include <libdeflate.h>
#include <zlib.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

namespace velmora::ingest {
namespace {

constexpr std::size_t longestText = std::size_t{64} << 20;
/// No content is shorter than its 1032nd part.
constexpr std::size_t greatestRatio = 1032;
/// Window of 32 KiB, gzip wrapper required.
constexpr int gzipWindowBits = 15 + 16;
constexpr std::size_t extraFlagsOffset = 8;
/// Deflate, and nothing that is optional.
constexpr std::string_view plainHead("\x1f\x8b\x08\0", 4);
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

/// What is sound, in half of zlib's time; of the rest zlib tells what is wrong.
std::optional<std::string> unpacked(const std::string &bytes) {
    thread_local const std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor *)>
        decompressor(libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
    const std::size_t length = promisedLength(bytes);
    if (decompressor == nullptr || !bytes.starts_with(plainHead) || length > longestText ||
        length / greatestRatio > bytes.size())
        return std::nullopt;
    std::string text(length, '\0');
    std::size_t used = 0;
    std::size_t filled = 0;
    if (libdeflate_gzip_decompress_ex(decompressor.get(), bytes.data(), bytes.size(), text.data(),
                                      length, &used, &filled) != LIBDEFLATE_SUCCESS ||
        used != bytes.size() || filled != length)
        return std::nullopt;
    return text;
}

} // namespace

GzipText readGzip(const std::string &bytes) {
    if (bytes.empty())
        return {"there is no body", {}};
    if (!bytes.starts_with("\x1f\x8b"))
        return {"the body is not gzip", {}};
    if (std::optional<std::string> text = unpacked(bytes))
        return {{}, *std::move(text)};

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
