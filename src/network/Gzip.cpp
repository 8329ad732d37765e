#include "network/DataCoding.h"
#include "platform/JSON.h"

#include <zlib.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>

namespace vmr {
namespace {

constexpr int gzipWindowBits = MAX_WBITS + 16;
constexpr int detectedWindowBits = MAX_WBITS + 32;
constexpr int memoryLevel = 8;
constexpr std::size_t compressionStep = 16384;

/// zlib takes its whole input at once and counts it in an uInt.
bool fitsZlib(const Data &data) {
    return data.size() <= std::numeric_limits<uInt>::max();
}

/// Nothing for levels beyond what zlib knows, NaN included.
std::optional<int> zlibLevel(float level) {
    if (level < 0)
        return Z_DEFAULT_COMPRESSION;
    const float scaled = std::round(level * 9);
    if (!(scaled <= Z_BEST_COMPRESSION))
        return std::nullopt;
    return static_cast<int>(scaled);
}

void giveInput(z_stream &stream, std::string_view input) {
    // zlib does not write through it; its type is from before const.
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(input.data()));
    stream.avail_in = static_cast<uInt>(input.size());
}

/// Gzip bytes of the pieces that `write` hands on, `size` bytes in all; nothing when zlib cannot
/// start.
std::optional<Data> deflated(int level, std::size_t size, WriteText write) {
    z_stream stream{};
    if (deflateInit2(&stream, level, Z_DEFLATED, gzipWindowBits, memoryLevel, Z_DEFAULT_STRATEGY) !=
        Z_OK)
        return std::nullopt;
    const std::unique_ptr<z_stream, decltype(&deflateEnd)> ending(&stream, &deflateEnd);
    std::string compressed;
    // Room for all: growing would hold the bytes twice.
    compressed.reserve(deflateBound(&stream, size));
    const auto add = [&](std::string_view input, int flush) {
        giveInput(stream, input);
        do {
            std::array<char, compressionStep> step;
            stream.next_out = reinterpret_cast<Bytef *>(step.data());
            stream.avail_out = static_cast<uInt>(step.size());
            deflate(&stream, flush);
            compressed.append(step.data(), step.size() - stream.avail_out);
        } while (stream.avail_out == 0);
    };
    write([&](std::string_view piece) { add(piece, Z_NO_FLUSH); });
    add({}, Z_FINISH);
    return Data(std::move(compressed));
}

/// Gives the stream what is left of the buffer, lengthened by `step` when it is full.
void provideOutput(z_stream &stream, std::string &buffer, std::size_t step) {
    if (stream.total_out >= buffer.size())
        buffer.resize(buffer.size() + step);
    stream.next_out = reinterpret_cast<Bytef *>(buffer.data() + stream.total_out);
    stream.avail_out = static_cast<uInt>(buffer.size() - stream.total_out);
}

} // namespace

bool isGzippedData(const Data &data) noexcept {
    return data.bytes().starts_with("\x1f\x8b");
}

std::optional<Data> gzippedDataWithCompressionLevel(const Data &data, float level) {
    if (data.empty() || isGzippedData(data))
        return data;
    const auto wanted = zlibLevel(level);
    if (!wanted || !fitsZlib(data))
        return std::nullopt;
    return deflated(*wanted, data.size(), [&](const TakeText &take) { take(data.bytes()); });
}

std::optional<Data> gzippedData(const Data &data) {
    return gzippedDataWithCompressionLevel(data, -1.0F);
}

std::optional<Data> gzippedJSON(const Value &object) {
    std::size_t size = 0;
    writeJSON(object, [&size](std::string_view piece) { size += piece.size(); });
    return deflated(Z_BEST_COMPRESSION, size,
                    [&](const TakeText &take) { writeJSON(object, take); });
}

std::optional<Data> gunzippedData(const Data &data) {
    if (data.empty() || !isGzippedData(data))
        return data;
    z_stream stream{};
    giveInput(stream, data.bytes());
    if (!fitsZlib(data) || inflateInit2(&stream, detectedWindowBits) != Z_OK)
        return std::nullopt;

    std::string inflated;
    inflated.reserve(2 * data.size());
    int status = Z_OK;
    // Gzip data has two bytes at least, so every pass offers room for one byte or more and either
    // makes progress or ends with a status of its own.
    while (status == Z_OK) {
        provideOutput(stream, inflated, data.size() / 2);
        status = inflate(&stream, Z_SYNC_FLUSH);
    }
    const auto produced = stream.total_out;
    if (inflateEnd(&stream) == Z_OK && status == Z_STREAM_END)
        inflated.resize(produced);
    return Data(std::move(inflated));
}

} // namespace vmr
