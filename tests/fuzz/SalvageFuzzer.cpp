#include "fuzz/Fuzzer.h"
#include "platform/linux/preferences/PreferencesRecovery.h"

#include <sqlite3.h>

#include <iterator>

using namespace vmr;

/// A damaged store: what is read of it can be written, and the file stays as it is but for zeroes
/// at its end.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string &path = fuzzedFile();
    const std::string_view bytes = fuzzedBytes(data, size);
    writeFile(path, bytes);
    try {
        const PreferencesRows rows = readableRows(path);
        for (const auto &[key, value] : rows.entries)
            require(!value.isAbsent() && !value.description(1000).empty());
        for (const auto &[list, stored] : rows.lists)
            require(stored.records.size() == stored.numbers.size() || stored.numbers.empty());
    } catch (const PreferencesTrouble &) {
        // It says why.
    }
    std::ifstream file(path, std::ios::binary);
    const std::string after{std::istreambuf_iterator<char>(file), {}};
    require(after.starts_with(bytes) &&
            after.find_first_not_of('\0', bytes.size()) == std::string::npos);
    for (const char *suffix : {"", "-wal", "-shm", "-journal"})
        ::unlink((path + suffix).c_str());
    return 0;
}
