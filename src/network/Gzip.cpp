#include "network/DataCoding.h"
#include "platform/JSON.h"

#include <zlib.h>

#include <array>
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

z_stream streamOver(std::string_view input) {
    z_stream stream{};
    // zlib does not write through it; its type is from before const.
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(input.data()));
    stream.avail_in = static_cast<uInt>(input.size());
    return stream;
}

class Deflater {
public:
    /// Room for all is reserved: growing would hold the bytes twice.
    Deflater(int level, std::size_t inputSize)
        : isReady_(deflateInit2(&stream_, level, Z_DEFLATED, gzipWindowBits, memoryLevel,
                                Z_DEFAULT_STRATEGY) == Z_OK) {
        if (isReady_)
            compressed_.reserve(deflateBound(&stream_, inputSize));
    }
    ~Deflater() { deflateEnd(&stream_); }
    Deflater(const Deflater &) = delete;
    Deflater &operator=(const Deflater &) = delete;

    bool isReady() const { return isReady_; }
    void add(std::string_view input, int flush) {
        const z_stream over = streamOver(input);
        stream_.next_in = over.next_in;
        stream_.avail_in = over.avail_in;
        do {
            std::array<char, compressionStep> step;
            stream_.next_out = reinterpret_cast<Bytef *>(step.data());
            stream_.avail_out = static_cast<uInt>(step.size());
            deflate(&stream_, flush);
            compressed_.append(step.data(), step.size() - stream_.avail_out);
        } while (stream_.avail_out == 0);
    }
    Data take() && { return Data(std::move(compressed_)); }

private:
    z_stream stream_{};
    bool isReady_;
    std::string compressed_;
};

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
    Deflater deflater(*wanted, data.size());
    if (!deflater.isReady())
        return std::nullopt;
    deflater.add(data.bytes(), Z_FINISH);
    return std::move(deflater).take();
}

std::optional<Data> gzippedData(const Data &data) {
    return gzippedDataWithCompressionLevel(data, -1.0F);
}

std::optional<Data> gzippedJSON(const Value &object) {
    std::size_t size = 0;
    writeJSON(object, [&size](std::string_view piece) { size += piece.size(); });
    Deflater deflater(Z_BEST_COMPRESSION, size);
    if (!deflater.isReady())
        return std::nullopt;
    writeJSON(object, [&deflater](std::string_view piece) { deflater.add(piece, Z_NO_FLUSH); });
    deflater.add({}, Z_FINISH);
    return std::move(deflater).take();
}

std::optional<Data> gunzippedData(const Data &data) {
    if (data.empty() || !isGzippedData(data))
        return data;
    z_stream stream = streamOver(data.bytes());
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
