#include "fuzz/Fuzzer.h"
#include "platform/JSON.h"

#include <cstdlib>

using namespace vmr;

/// What was read can be written, and reads back as the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const auto result = readJSON(fuzzedBytes(data, size));
    const Value *value = std::get_if<Value>(&result);
    if (value == nullptr)
        return 0;
    const auto again = readJSON(writeJSON(*value, JSONStyle::pretty));
    const Value *same = std::get_if<Value>(&again);
    if (!isValidJSONObject(*value) || same == nullptr || !same->isEqualTo(*value))
        std::abort();
    return 0;
}
