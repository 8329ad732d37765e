#include "support/Program.h"
#include "support/TemporaryFolder.h"

#include <VelmoraKit/velmora.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace vmr::test {
namespace {

// Turned over: as they are they stand in no file that this process maps.
constexpr char longSecret[] = "\xce\xda\xdc\xcd\xda\xcb\xd2\xda\xd2\xd0\xcd\xc6\xcc\xdc\xde\xd1"
                              "\xce\xca\xda\xca\xda\xdb\xcf\xde\xcb\xcb\xda\xcd\xd1\xce\xc7\xc5";
constexpr char shortSecret[] = "\xce\xc7\xc5\xc8\xd4\xcd\xd3\xcf\xd1\xca\xdc\xc6";

/// What is read of the memory, and so no find itself.
std::array<char, 1 << 20> piece;

int countIn(std::string_view bytes, std::uintptr_t from, std::string_view turned) {
    const auto own = reinterpret_cast<std::uintptr_t>(piece.data());
    const char *const end = bytes.data() + bytes.size();
    const auto next = [&](const char *at) {
        return static_cast<const char *>(
            std::memchr(at, ~turned[0] & 0xff, static_cast<std::size_t>(end - at)));
    };
    int count = 0;
    for (const char *at = next(bytes.data()); at != nullptr; at = next(at + 1)) {
        std::size_t same = 0;
        while (same < turned.size() && at + same < end && (at[same] ^ turned[same]) == -1)
            ++same;
        const std::uintptr_t place = from + static_cast<std::uintptr_t>(at - bytes.data());
        const bool isOwn = place + same > own && place < own + piece.size();
        count += same == turned.size() && !isOwn;
    }
    return count;
}

/// How often the text stands in the memory that this process writes.
int countInMemory(std::string_view turned) {
    std::ifstream maps("/proc/self/maps");
    const int memory = ::open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    int count = 0;
    for (std::string line; std::getline(maps, line);) {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        char dash = 0;
        std::string rights;
        std::istringstream(line) >> std::hex >> begin >> dash >> end >> rights;
        for (std::uintptr_t at = begin; rights.starts_with("rw") && at < end;) {
            const ssize_t size = ::pread(memory, piece.data(), std::min(piece.size(), end - at),
                                         static_cast<off_t>(at));
            if (size <= 0)
                break;
            count += countIn({piece.data(), static_cast<std::size_t>(size)}, at, turned);
            const bool isLast = at + static_cast<std::size_t>(size) >= end;
            at += static_cast<std::size_t>(size) - (isLast ? 0 : turned.size());
        }
    }
    ::close(memory);
    piece.fill(0);
    return count;
}

void startWith(std::string_view turned) {
    std::array<char, 64> secret{};
    for (std::size_t at = 0; at < turned.size(); ++at)
        secret[at] = static_cast<char>(~turned[at]);
    EXPECT_EQ(VELMORA_OK, velmora_start("key", secret.data())) << velmora_last_error_message();
    ::explicit_bzero(secret.data(), secret.size());
}

TEST(SecretTest, StandsInMemoryOnceAndIsWiped) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer keeps what was freed";
#endif
    leaveEnvironment();
    const TemporaryFolder folder;
    const std::string store = folder.file("store.db");
    velmora_options options;
    velmora_options_init(&options, sizeof options);
    options.store_path = store.c_str();
    options.ingest_base_address = "http://127.0.0.1:1/";
    ASSERT_EQ(VELMORA_OK, velmora_configure(&options));
    for (const std::string_view turned :
         {std::string_view(longSecret), std::string_view(shortSecret)}) {
        startWith(turned);
        // What is freed loses its first bytes in any case.
        const std::string_view end = turned.substr(turned.size() / 2);
        EXPECT_EQ(countInMemory(end), 1) << "after the start";
        // A request is signed, and fails.
        EXPECT_EQ(VELMORA_OK, velmora_preferences_set_string("IABTCF_TCString", "CPc-demo"));
        int settled = 0;
        EXPECT_EQ(VELMORA_OK, velmora_run_loop_run_until_idle(60, &settled));
        EXPECT_EQ(1, settled);
        char *diagnosis = nullptr;
        EXPECT_EQ(VELMORA_OK, velmora_diagnose_json(&diagnosis));
        EXPECT_THAT(diagnosis, testing::HasSubstr("\"error\":\"Error Domain=NSURLErrorDomain"));
        velmora_free(diagnosis);
        EXPECT_EQ(countInMemory(end), 1) << "the one that signs the next request";
    }
    // The second start call has put another one in its place.
    EXPECT_EQ(countInMemory(std::string_view(longSecret).substr(sizeof longSecret / 2)), 0);
}

} // namespace
} // namespace vmr::test
