#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// What every fuzzer of this folder defines: reads one input, and aborts when a promise is broken.
/// libFuzzer calls it with inputs it makes up, ReplayCorpus.cpp with the kept ones.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

inline std::string_view fuzzedBytes(const std::uint8_t *data, std::size_t size) {
    return {reinterpret_cast<const char *>(data), size};
}
