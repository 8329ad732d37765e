#include "network/DataCoding.h"

#include <zlib.h>

#include <cmath>
#include <limits>

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

z_stream streamOver(const Data &input) {
    z_stream stream{};
    // zlib does not write through it; its type is from before const.
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(input.bytes().data()));
    stream.avail_in = static_cast<uInt>(input.size());
    return stream;
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
    z_stream stream = streamOver(data);
    if (!wanted || !fitsZlib(data) ||
        deflateInit2(&stream, *wanted, Z_DEFLATED, gzipWindowBits, memoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;

    std::string compressed(compressionStep, '\0');
    while (stream.avail_out == 0) {
        provideOutput(stream, compressed, compressionStep);
        deflate(&stream, Z_FINISH);
    }
    compressed.resize(stream.total_out);
    deflateEnd(&stream);
    return Data(std::move(compressed));
}

std::optional<Data> gzippedData(const Data &data) {
    return gzippedDataWithCompressionLevel(data, -1.0F);
}

std::optional<Data> gunzippedData(const Data &data) {
    if (data.empty() || !isGzippedData(data))
        return data;
    z_stream stream = streamOver(data);
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
