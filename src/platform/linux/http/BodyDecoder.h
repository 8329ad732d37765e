#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace vmr {

/// Undoes the content encoding of one response body while it arrives. libcurl could decode as
/// well, but takes a compressed body that ends too early for a whole one. Used by one thread.
class BodyDecoder {
public:
    enum class Result { ok, damaged, tooLarge };

    /// No more than `limit` decoded bytes are kept.
    explicit BodyDecoder(std::size_t limit);
    ~BodyDecoder();
    BodyDecoder(const BodyDecoder &) = delete;
    BodyDecoder &operator=(const BodyDecoder &) = delete;

    /// Takes the value of a Content-Encoding header; false when it names something that was never
    /// asked for.
    bool setEncoding(std::string_view contentEncoding);
    Result append(std::string_view bytes);
    /// Called after the last byte: damaged when the encoded stream has no end.
    Result finish() const;
    /// The decoded bytes; leaves the decoder empty.
    std::string take() { return std::move(decoded_); }

private:
    struct Inflater;

    Result appendPlain(std::string_view bytes);
    Result appendInflated(std::string_view bytes);

    const std::size_t limit_;
    std::string decoded_;
    std::unique_ptr<Inflater> inflater_;
};

} // namespace vmr
