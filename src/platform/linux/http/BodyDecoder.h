#pragma once

#include "platform/HTTPSession.h"

#include <cstddef>
#include <memory>
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
    /// False with what is wrong with the body as the outcome.
    bool append(std::string_view bytes, HTTPOutcome &outcome);
    /// The same after the last byte: an encoded stream must have come to its end.
    bool finish(HTTPOutcome &outcome) const;
    /// The decoded bytes; leaves the decoder empty.
    std::string take() { return std::move(decoded_); }

private:
    struct Inflater;

    bool appendPlain(std::string_view bytes, HTTPOutcome &outcome);
    bool appendInflated(std::string_view bytes, HTTPOutcome &outcome);

    const std::size_t limit_;
    std::string decoded_;
    std::unique_ptr<Inflater> inflater_;
};

} // namespace vmr
