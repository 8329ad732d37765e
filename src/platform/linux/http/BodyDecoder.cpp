#include "platform/linux/http/BodyDecoder.h"

#include "platform/Format.h"
#include "platform/linux/http/URLErrors.h"

#include <strings.h>
#include <zlib.h>

#include <array>

namespace vmr {
namespace {

// zlib's window argument: 15 bits, and what wraps the deflate stream.
constexpr int gzipOrZlibWrapper = 15 + 32;
constexpr int noWrapper = -15;

bool equalsIgnoringCase(std::string_view text, std::string_view lower) {
    return text.size() == lower.size() &&
           ::strncasecmp(text.data(), lower.data(), lower.size()) == 0;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

bool failAsDamaged(HTTPOutcome &outcome) {
    return fail(outcome, URLErrorCode::cannotDecodeRawData,
                "the response's compressed body is damaged or ends too early");
}

} // namespace

struct BodyDecoder::Inflater {
    z_stream stream{};
    bool started = false;
    bool anyInput = false;
    bool ended = false;
    /// "deflate" is sent with and without zlib's wrapper; the first bytes tell.
    bool mayBeBare = false;

    bool start(int window) {
        if (started)
            ::inflateEnd(&stream);
        stream = z_stream{};
        started = ::inflateInit2(&stream, window) == Z_OK;
        return started;
    }
    ~Inflater() {
        if (started)
            ::inflateEnd(&stream);
    }
};

BodyDecoder::BodyDecoder(std::size_t limit) : limit_(limit) {}
BodyDecoder::~BodyDecoder() = default;

bool BodyDecoder::setEncoding(std::string_view contentEncoding) {
    const std::string_view name = trimmed(contentEncoding);
    inflater_.reset();
    if (name.empty() || equalsIgnoringCase(name, "identity"))
        return true;
    const bool deflate = equalsIgnoringCase(name, "deflate");
    if (!deflate && !equalsIgnoringCase(name, "gzip") && !equalsIgnoringCase(name, "x-gzip"))
        return false;
    inflater_ = std::make_unique<Inflater>();
    inflater_->mayBeBare = deflate;
    return inflater_->start(gzipOrZlibWrapper);
}

bool BodyDecoder::append(std::string_view bytes, HTTPOutcome &outcome) {
    if (bytes.empty())
        return true;
    return inflater_ ? appendInflated(bytes, outcome) : appendPlain(bytes, outcome);
}

bool BodyDecoder::appendPlain(std::string_view bytes, HTTPOutcome &outcome) {
    if (bytes.size() > limit_ - decoded_.size())
        return fail(outcome, URLErrorCode::dataLengthExceedsMaximum,
                    formatText("the response's body is longer than %lu bytes", limit_));
    decoded_.append(bytes);
    return true;
}

bool BodyDecoder::appendInflated(std::string_view bytes, HTTPOutcome &outcome) {
    Inflater &inflater = *inflater_;
    if (inflater.mayBeBare) {
        // A zlib wrapper begins with 8 in the low half of its first byte; a bare stream of a
        // sensible length does not begin so (it would be a stored block with padding set).
        if ((static_cast<unsigned char>(bytes.front()) & 0x0f) != 8 && !inflater.start(noWrapper))
            return failAsDamaged(outcome);
        inflater.mayBeBare = false;
    }
    inflater.anyInput = true;
    std::array<char, 16 * 1024> chunk;
    // zlib does not write through its input pointer.
    inflater.stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
    inflater.stream.avail_in = static_cast<uInt>(bytes.size());
    while (!inflater.ended) {
        inflater.stream.next_out = reinterpret_cast<Bytef *>(chunk.data());
        inflater.stream.avail_out = static_cast<uInt>(chunk.size());
        const int code = ::inflate(&inflater.stream, Z_NO_FLUSH);
        if (code != Z_OK && code != Z_STREAM_END && code != Z_BUF_ERROR)
            return failAsDamaged(outcome);
        const std::size_t produced = chunk.size() - inflater.stream.avail_out;
        if (!appendPlain({chunk.data(), produced}, outcome))
            return false;
        inflater.ended = code == Z_STREAM_END;
        if (produced < chunk.size())
            break;
    }
    return true;
}

bool BodyDecoder::finish(HTTPOutcome &outcome) const {
    const bool whole = !inflater_ || !inflater_->anyInput || inflater_->ended;
    return whole || failAsDamaged(outcome);
}

} // namespace vmr
