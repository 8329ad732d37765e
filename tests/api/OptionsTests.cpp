#include "api/HostFixture.h"

#include <cstring>

namespace vmr::test {
namespace {

using testing::HasSubstr;

/// The options of a host that was built against a later header.
struct LaterOptions {
    velmora_options known;
    const char *added;
    char rest[1024 - sizeof(velmora_options) - sizeof(const char *)]; // as long as may be
};

TEST_F(HostTest, OptionsOfALaterHeaderAreTakenWhereTheirNewMembersAreLeftAlone) {
    LaterOptions later;
    std::memset(static_cast<void *>(&later), 0xAA, sizeof later);
    ASSERT_EQ(VELMORA_OK, velmora_options_init(&later.known, sizeof later));
    EXPECT_EQ(nullptr, later.added);
    later.known.store_path = store_.c_str();
    later.added = "unknown to this library";
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_configure(&later.known));
    EXPECT_THAT(velmora_last_error_message(), HasSubstr("does not know"));
    later.added = nullptr;
    EXPECT_EQ(VELMORA_OK, velmora_configure(&later.known)) << velmora_last_error_message();
    EXPECT_EQ(VELMORA_OK, velmora_preferences_set_string("key", "text"));
    EXPECT_TRUE(std::filesystem::exists(store_));
}

TEST_F(HostTest, WhatHindersDeliveryIsTold) {
    velmora_options given = options();
    const std::string &lines = linesFor(given);
    given.ingest_base_address = nullptr;
    given.information_dictionary = "{}";
    given.tracking_status = 3;
    given.system_version = "13";
    given.keep_unsent = 1;
    ASSERT_EQ(VELMORA_OK, velmora_configure(&given));
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    EXPECT_THAT(lines, HasSubstr("the ingest address is the placeholder"));
    const std::string diagnosis = VelmoraKit::Velmora::sharedVelmora().diagnose();
    for (const char *part : {R"("placeholder":true)", R"("used":"installation")", "legacy_tracking",
                             R"("keepUnsent":true,"removedUnsent":0)"})
        EXPECT_THAT(diagnosis, HasSubstr(part));
}

TEST_F(HostTest, EveryOptionCanBeGivenAsJSON) {
    const std::string text = R"({"store_path":")" + store_ + R"(",
        "bundle_identifier":"com.example.json", "app_version":null,
        "information_dictionary":{"VMRLogsEnabled":false,"CFBundleShortVersionString":"7"},
        "ingest_base_address":"http://127.0.0.1:1/", "system_version":"14.1",
        "advertising_identifier":"6F9619FF-8B86-D011-B42D-00CF4FC964FF", "tracking_status":3,
        "legacy_tracking":0, "allow_proxy":false, "keep_unsent":true, "shared_folder":1})";
    using VelmoraKit::Velmora;
    ASSERT_TRUE(Velmora::configureJson(text)) << velmora_last_error_message();
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT, Velmora::configureJson(std::string("{}\0", 3)).code());
    const std::string diagnosis = Velmora::sharedVelmora().diagnose();
    for (const std::string &part :
         {std::string(R"("bundle":{"identifier":"com.example.json","version":"7"})"),
          std::string(R"("used":"advertising")"), std::string(R"("keepUnsent":true)"),
          std::string("http://127.0.0.1:1/"), store_})
        EXPECT_THAT(diagnosis, HasSubstr(part));
}

TEST_F(HostTest, AProxyIsAllowedOnlyWhereTheHostSaysSo) {
    setenv("https_proxy", "http://127.0.0.1:9", 1);
    velmora_options given = options();
    given.ingest_base_address = "https://ingest.example/";
    given.allow_proxy = 1;
    ASSERT_EQ(VELMORA_OK, velmora_configure(&given));
    EXPECT_THAT(VelmoraKit::Velmora::sharedVelmora().diagnose(),
                testing::AllOf(HasSubstr("\"allowed\":true"), HasSubstr("\"removedUnsent\":0")));
}

TEST_F(HostTest, WhatWouldFailEveryRequestIsRefused) {
    const std::string digest = "sha256//" + std::string(43, 'A') + "=";
    for (const std::string &pin :
         {std::string("nonsense"), "sha256//" + std::string(42, 'A') + "==", digest + " ",
          digest + ";", digest + ";;" + digest,
          digest + ";" + "md5//" + std::string(43, 'A') + "="}) {
        velmora_options given = options();
        given.pinned_public_key = pin.c_str();
        EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_configure(&given)) << pin;
        EXPECT_THAT(velmora_last_error_message(), HasSubstr("pinned_public_key"));
    }
    for (const char *version : {"1..2", ".", "12.", "twelve", ".1"}) {
        velmora_options given = options();
        given.system_version = version;
        EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_configure(&given)) << version;
    }
    velmora_options given = options();
    given.bundle_identifier = "com.example.test\n";
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_configure(&given));
    EXPECT_THAT(velmora_last_error_message(), HasSubstr("bundle_identifier"));

    given = options();
    given.system_version = "12.4.1";
    const std::string two = digest + ";" + digest;
    given.pinned_public_key = two.c_str();
    ASSERT_EQ(VELMORA_OK, velmora_configure(&given)) << velmora_last_error_message();
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_start("key\n", "secret"));
    EXPECT_THAT(velmora_last_error_message(), HasSubstr("api_key"));
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_start("key", "secret\r"));
    EXPECT_EQ(0, velmora_is_started());
    EXPECT_EQ(VELMORA_OK, velmora_start("key", "secret"));
}

} // namespace
} // namespace vmr::test
