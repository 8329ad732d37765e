#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

/// What every fuzzer of this folder defines: reads one input, and aborts when a promise is broken.
/// libFuzzer calls it with inputs it makes up, ReplayCorpus.cpp with the kept ones.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

inline std::string_view fuzzedBytes(const std::uint8_t *data, std::size_t size) {
    return {reinterpret_cast<const char *>(data), size};
}

inline void require(bool promise) {
    if (!promise)
        std::abort();
}

/// Takes the text up to the mark off the front, and the mark.
inline std::string_view takeUntil(std::string_view &text, std::string_view mark) {
    const std::string_view front = text.substr(0, text.find(mark));
    text.remove_prefix(std::min(text.size(), front.size() + mark.size()));
    return front;
}

/// A file of this process's own, for parsers that read files.
inline const std::string &fuzzedFile() {
    static const std::string path = "/tmp/velmora-fuzz-" + std::to_string(::getpid());
    return path;
}
inline void writeFile(const std::string &path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}
