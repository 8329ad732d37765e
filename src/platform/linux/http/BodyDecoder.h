#pragma once

#include "platform/PlatformError.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// Undoes the content encoding of one response body while it arrives. libcurl could decode as
/// well, but takes a compressed body that ends too early for a whole one. Used by one thread.
class BodyDecoder {
public:
    /// No more than `limit` decoded bytes are kept.
    explicit BodyDecoder(std::size_t limit);
    ~BodyDecoder();

    /// Takes the value of a Content-Encoding header; false when it names something that was never
    /// asked for.
    bool setEncoding(std::string_view contentEncoding);
    /// What is wrong with the body, if anything is.
    std::optional<PlatformError> append(std::string_view bytes);
    /// Called after the last byte: an encoded stream must have come to its end.
    std::optional<PlatformError> finish() const;
    /// The decoded bytes; leaves the decoder empty.
    std::string take() { return std::move(decoded_); }

private:
    struct Inflater;

    std::optional<PlatformError> appendPlain(std::string_view bytes);
    std::optional<PlatformError> appendInflated(std::string_view bytes);

    const std::size_t limit_;
    std::string decoded_;
    std::unique_ptr<Inflater> inflater_;
};

} // namespace vmr
