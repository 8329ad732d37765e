#include "fuzz/Fuzzer.h"
#include "platform/linux/preferences/PreferencesRecovery.h"

using namespace vmr;

/// A damaged store: what is read of it can be told, and what it holds stays as it is.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string &path = fuzzedFile();
    const std::string_view bytes = fuzzedBytes(data, size);
    writeFile(path, bytes);
    try {
        const PreferencesRows rows = readableRows(path, false);
        for (const auto &[key, value] : rows.entries)
            require(!value.isAbsent() && !value.description(1000).empty());
        for (const auto &[list, stored] : rows.lists)
            require(stored.records.size() == stored.numbers.size() || stored.numbers.empty());
    } catch (const PreferencesTrouble &) {
        // It says why.
    }
    std::string after(bytes.size(), '\0');
    std::ifstream(path, std::ios::binary)
        .read(after.data(), static_cast<std::streamsize>(after.size()));
    require(after == bytes);
    for (const char *suffix : {"", "-wal", "-shm", "-journal"})
        ::unlink((path + suffix).c_str());
    return 0;
}
