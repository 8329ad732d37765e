#include "fuzz/Fuzzer.h"
#include "platform/Format.h"

using namespace vmr;

/// Every format text takes every argument; without placeholders it is the result.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view format = fuzzedBytes(data, size);
    const Value list =
        Value::list({Value(), Value::unsignedInteger(~0ull), Value::data(Data("x"))});
    const std::string none = formatText(format);
    require(format.find('%') != std::string_view::npos || none == format);
    const std::string text = formatText(format, list, 1e308, ~0ull, -1, "text",
                                        Value::string("value"), Dictionary{{"key", list}}, Value());
    require(format.find('%') != std::string_view::npos || text == format);
    return 0;
}
