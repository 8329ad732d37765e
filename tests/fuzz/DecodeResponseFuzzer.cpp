#include "fuzz/Fuzzer.h"
#include "platform/linux/http/BodyDecoder.h"

using namespace vmr;

namespace {

std::optional<std::string> decoded(std::string_view encoding, std::string_view body,
                                   std::size_t pieceSize) {
    BodyDecoder decoder(std::size_t{1} << 16);
    HTTPOutcome outcome;
    if (!decoder.setEncoding(encoding))
        return std::nullopt;
    for (; !body.empty(); body.remove_prefix(std::min(pieceSize, body.size()))) {
        if (!decoder.append(body.substr(0, pieceSize), outcome))
            return std::nullopt;
    }
    return decoder.finish(outcome) ? std::optional(decoder.take()) : std::nullopt;
}

} // namespace

/// A line with the encoding, then the body. It is the same however it arrives.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view body = fuzzedBytes(data, size);
    const std::string_view encoding = takeUntil(body, "\n");
    const auto whole = decoded(encoding, body, body.size() + 1);
    require(whole == decoded(encoding, body, 1) && whole == decoded(encoding, body, 7));
    return 0;
}
