#include "fuzz/Fuzzer.h"
#include "platform/TaggedJSON.h"

#include <cstdlib>

using namespace vmr;

/// What was read can be written, and reads back as the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::optional<Value> value = readTaggedJSON(fuzzedBytes(data, size));
    if (!value)
        return 0;
    const std::optional<Value> again = readTaggedJSON(writeTaggedJSON(*value));
    if (!again || again->type() != value->type() || !again->isEqualTo(*value))
        std::abort();
    return 0;
}
