// Runs a fuzzer's kept inputs without the fuzzing engine: every file of the folders named.

#include "fuzz/Fuzzer.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

int main(int count, char **arguments) {
    int replayed = 0;
    for (int at = 1; at < count; ++at) {
        for (const auto &entry : std::filesystem::directory_iterator(arguments[at])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(file), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()),
                                   bytes.size());
            ++replayed;
        }
    }
    std::printf("%d inputs replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}
