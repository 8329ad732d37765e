#pragma once

#include <zlib.h>

#include <string>
#include <string_view>

namespace vmr::test {

/// `windowBits` as deflateInit2 has them: 15 for zlib, -15 for a bare stream, 31 for gzip.
inline std::string deflated(std::string_view text, int windowBits, int level = 9) {
    z_stream stream{};
    deflateInit2(&stream, level, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
    std::string out(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}
inline std::string gzip(std::string_view text, int level = 9) {
    return deflated(text, 31, level);
}
/// Of gzip bytes.
inline std::string inflated(std::string_view bytes) {
    z_stream stream{};
    inflateInit2(&stream, 31);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    std::string out;
    for (int status = Z_OK; status == Z_OK;) {
        out.resize(stream.total_out + 65536);
        stream.next_out = reinterpret_cast<Bytef *>(out.data() + stream.total_out);
        stream.avail_out = 65536;
        status = inflate(&stream, Z_NO_FLUSH);
    }
    out.resize(stream.total_out);
    inflateEnd(&stream);
    return out;
}

} // namespace vmr::test
