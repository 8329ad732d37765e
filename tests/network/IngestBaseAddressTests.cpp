#include "network/IngestBaseAddress.h"
#include "support/TestPlatform.h"

#include <gmock/gmock.h>

namespace vmr::test {
namespace {

using testing::HasSubstr;

TEST(IngestBaseAddress, AcceptsWhatPathsCanBeAppendedTo) {
    for (const char *text :
         {"https://ingest.example/", "https://ingest.example:8443/data/", "HTTPS://Ingest.example/",
          "https://[2001:db8::1]/", "http://127.0.0.1:8080/", "http://127.9.8.7/x/",
          "http://[::1]:80/", "http://localhost/", "http://LOCALHOST:1/"})
        EXPECT_EQ(refusalOfIngestBaseAddress(text), std::nullopt);
}

TEST(IngestBaseAddress, SaysWhatIsWrongWithTheOthers) {
    struct Row {
        const char *text;
        const char *fault;
    };
    for (const Row &row : std::vector<Row>{
             {"", "empty"},
             {"ingest.example/", "not absolute"},
             {"//ingest.example/", "not absolute"},
             {"https://", "host or port"},
             {"https://host:port/", "host or port"},
             {"https://host:0/", "host or port"},
             {"https://host:65536/", "host or port"},
             {"https://[::1/", "host or port"},
             {"https://h%6fst/", "host or port"},
             {"https://a b/", "characters"},
             {"https://h\xc3\xb6st/", "characters"},
             {"https://host/\n", "characters"},
             {"ftp://host/", "scheme"},
             {"http://ingest.example/", "loopback"},
             {"http://127.0.0.1.example/", "loopback"},
             {"http://127.0.0.256/", "loopback"},
             {"http://0127.0.0.1/", "loopback"},
             {"http://localhost@ingest.example/", "loopback"},
             {"https://user@host/", "user"},
             {"https://host/?a=/", "query"},
             {"https://host/#/", "fragment"},
             {"https://host", "end with"},
         }) {
        const std::string refusal = refusalOfIngestBaseAddress(row.text).value_or("");
        EXPECT_THAT(refusal, HasSubstr(row.fault)) << row.text;
        EXPECT_THAT(refusal, HasSubstr("https://ingest.example.com/")) << row.text;
    }
}

TEST(IngestBaseAddress, IsShownWithoutSecretsAndInOneLine) {
    const auto shown = [](const std::string &text) {
        const std::string refusal = refusalOfIngestBaseAddress(text).value_or("\"\"");
        const std::size_t begin = refusal.find('"') + 1;
        return refusal.substr(begin, refusal.find("\" is refused") - begin);
    };
    EXPECT_EQ(shown("https://a b/~"), "https://a b/~");
    EXPECT_EQ(shown("https://h\xc3\xb6st/\n\x1f\x7f"), R"(https://h\xc3\xb6st/\x0a\x1f\x7f)");
    EXPECT_EQ(shown("https://user:p@ss?w@host/x?token=t"), "https://***@host/x?***");
    EXPECT_EQ(shown("user:pass@host://x#t"), "***@host://x#***");
    EXPECT_EQ(shown(std::string(200, 'a')), std::string(200, 'a'));
    EXPECT_EQ(shown(std::string(201, 'a')), std::string(200, 'a') + "...");
}

TEST(IngestBaseAddress, TheHostsInformationOverridesTheDeployments) {
    TestPlatform platform;
    platform.bundle->information["VMRIngestBaseAddress"] = Value::string("https://own.example/");
    EXPECT_EQ(ingestBaseAddress(), "https://own.example/");
    platform.bundle->information.erase("VMRIngestBaseAddress");
    EXPECT_EQ(ingestBaseAddress(), DEPLOYMENT_ADDRESS);
    EXPECT_TRUE(platform.log->lines().empty());

    // A refused address is not replaced by another service's.
    for (const Value &refused : {Value::string("http://own.example/"), Value::integer(7)}) {
        platform.log->clear();
        platform.bundle->information["VMRIngestBaseAddress"] = refused;
        EXPECT_EQ(ingestBaseAddress(), "");
        EXPECT_EQ(platform.log->countContaining("VMRIngestBaseAddress"), 1u);
    }
}

} // namespace
} // namespace vmr::test
