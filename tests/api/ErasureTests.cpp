#include "api/HostFixture.h"

#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <thread>

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// All that the store's files hold, whether it is part of a table or not.
std::string bytesIn(const std::string &folder) {
    std::string bytes;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        if (!entry.is_regular_file())
            continue;
        std::ifstream file(entry.path(), std::ios::binary);
        bytes.append(std::istreambuf_iterator<char>(file), {});
    }
    return bytes;
}

class ErasureTest : public HostTest {
protected:
    VelmoraKit::Velmora &velmora_ = VelmoraKit::Velmora::sharedVelmora();
    VelmoraKit::Preferences &preferences_ = velmora_.preferences();
};

TEST_F(ErasureTest, NothingOfWhatWasKeptIsLeftInTheFiles) {
    configure();
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    ASSERT_EQ(VELMORA_OK,
              velmora_device_response(R"({"config":{"SECRETSETTING":1,"DISPLAY_LOGS":7}})"));
    // Events that came and went leave free pages behind.
    for (int number = 0; number < 300; ++number)
        preferences_.setString("IABTCF_TCString", "WASGIVEN" + std::string(500, 'x'));
    preferences_.setString("IABTCF_TCString", "NOW");
    preferences_.setString("VMRLastTCFv2StringKey.unreadable", "WASGIVEN");
    preferences_.setString("VMRofTheHost", "kept");
    ASSERT_TRUE(preferences_.synchronize());
    const std::string identifier = preferences_.string("VMRDeviceId").value_or("");
    ASSERT_FALSE(identifier.empty());
    std::ofstream(store_ + ".damaged-20260101T000000Z") << "WASGIVEN";
    std::ofstream(store_ + ".damaged-notes.txt") << "the user's own";
    std::filesystem::create_directory(store_ + ".damaged-20260101T000000Z-2");
    std::filesystem::permissions(store_ + ".damaged-20260101T000000Z",
                                 std::filesystem::perms::owner_read |
                                     std::filesystem::perms::owner_write);
    // Rows that the SDK cannot understand, and a set that nobody has seen to.
    execute("PRAGMA wal_autocheckpoint=0;"
            "INSERT INTO records(list,class,fields) VALUES('L','Unknown','WASGIVEN');"
            "INSERT INTO preferences VALUES('VMRLogsArray','unknown','WASGIVEN');"
            "INSERT INTO handovers(key,type,value) VALUES('k','string','WASGIVEN')");
    ASSERT_THAT(bytesIn(folder_.path()), HasSubstr("WASGIVEN"));

    ASSERT_EQ(VELMORA_OK, velmora_erase()) << velmora_last_error_message();
    EXPECT_EQ(0, velmora_is_started());
    EXPECT_THAT(preferences_.keys(), ElementsAre("IABTCF_TCString", "VMRofTheHost"));
    const std::string left = bytesIn(folder_.path());
    for (const std::string &gone :
         {std::string("WASGIVEN"), std::string("SECRETSETTING"), identifier})
        EXPECT_THAT(left, Not(HasSubstr(gone)));
    EXPECT_THAT(left, testing::AllOf(HasSubstr("kept"), HasSubstr("the user's own")));

    // Stopped: what the application sets stays its own.
    preferences_.setString("IABTCF_TCString", "LATER");
    EXPECT_EQ(VELMORA_OK, velmora_will_enter_foreground());
    EXPECT_EQ(VELMORA_OK, velmora_run_loop_process());
    EXPECT_THAT(preferences_.keys(), ElementsAre("IABTCF_TCString", "VMRofTheHost"));
    EXPECT_EQ(VELMORA_OK, velmora_erase()) << "there is nothing left to do";

    // And begun anew, as any first start.
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    EXPECT_THAT(velmora_.status(), HasSubstr(R"("storedConsentEvents":[{"consentString":"LATER")"));
    EXPECT_THAT(velmora_.status(), HasSubstr(R"("DISPLAY_LOGS":0)"));
    preferences_.setString("IABTCF_TCString", "LAST");
    const std::string status = velmora_.status();
    const std::size_t event = status.find(R"({"consentString":"LAST")");
    EXPECT_NE(event, std::string::npos);
    EXPECT_EQ(event, status.rfind(R"({"consentString":"LAST")")) << "every change is handled once";
}

TEST_F(ErasureTest, WhatIsUnderWayStoresNothingAfterwards) {
    configure();
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    std::thread([&] { EXPECT_EQ(VELMORA_OK, velmora_will_enter_foreground()); }).join();
    EXPECT_EQ(VELMORA_OK, velmora_run_loop_process());
    preferences_.setString("IABTCF_TCString", "waits for its post");
    std::thread([&] {
        EXPECT_EQ(VELMORA_OK, velmora_will_enter_foreground());
        EXPECT_EQ(VELMORA_OK, velmora_device_response("{}"));
    }).join();
    ASSERT_EQ(VELMORA_OK, velmora_erase());
    EXPECT_TRUE(velmora_.mainRunLoop().runUntilIdle(60));
    EXPECT_THAT(preferences_.keys(), ElementsAre("IABTCF_TCString"));
}

TEST_F(ErasureTest, NothingFromBeforeIsSentOrStoredAfterwards) {
    static std::vector<std::uint64_t> asked;
    velmora_transport transport{};
    transport.size = sizeof transport;
    transport.start = [](const velmora_http_request *request, void *) {
        asked.push_back(request->id);
        EXPECT_EQ(VELMORA_OK, velmora_run_loop_stop());
    };
    ASSERT_EQ(VELMORA_OK, velmora_set_transport(&transport));
    velmora_options given = options();
    given.ingest_base_address = "http://127.0.0.1:9/";
    given.keep_unsent = 1;
    ASSERT_EQ(VELMORA_OK, velmora_configure(&given));
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    EXPECT_EQ(VELMORA_OK, velmora_will_enter_foreground());
    EXPECT_EQ(VELMORA_OK, velmora_run_loop_run(60));
    ASSERT_EQ(1U, asked.size());
    // A job behind the one under way, one that waits for its second, managers of two start calls.
    EXPECT_EQ(VELMORA_OK, velmora_will_enter_foreground());
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    preferences_.setString("IABTCF_TCString", "MEANWHILE");

    ASSERT_EQ(VELMORA_OK, velmora_erase()) << velmora_last_error_message();
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    EXPECT_EQ(VELMORA_OK, velmora_transport_answer(asked.front(), 200, "{}", 2));
    EXPECT_TRUE(velmora_.mainRunLoop().runUntilIdle(60));
    EXPECT_EQ(1U, asked.size());
    EXPECT_THAT(preferences_.keys(), Not(testing::Contains(HasSubstr("LastPost"))));
    EXPECT_THAT(velmora_.status(), HasSubstr(R"({"consentString":"MEANWHILE")"))
        << "of the start afterwards";
}

TEST_F(ErasureTest, WhatTheFileGivesOnlyWhenItIsOpenedGoesToo) {
    configure();
    preferences_.setString("own", "stays");
    ASSERT_EQ(VELMORA_OK, velmora_erase()) << velmora_last_error_message();
    execute("INSERT INTO preferences(key,type,value) VALUES('VMRDeviceId','string','BACK')");
    ASSERT_EQ(VELMORA_OK, velmora_erase()) << velmora_last_error_message();
    EXPECT_THAT(preferences_.keys(), ElementsAre("own"));
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    for (const char *suffix : {"", "-wal", "-shm"})
        std::filesystem::remove(store_ + suffix);
    ASSERT_EQ(VELMORA_OK, velmora_erase()) << "in the file that takes the lost one's place";
    EXPECT_TRUE(preferences_.synchronize());
    EXPECT_THAT(bytesIn(folder_.path()), HasSubstr("stays"));
}

TEST_F(ErasureTest, NobodyErasesWhileTheStartIsStoring) {
    configure();
    velmora_observer *observer = nullptr;
    static int told = 0;
    const auto erase = [](const char *, const char *, const char *, void *) {
        EXPECT_EQ(VELMORA_INVALID_STATE, velmora_erase());
        ++told;
    };
    ASSERT_EQ(VELMORA_OK, velmora_preferences_observe(nullptr, erase, nullptr, nullptr, &observer));
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    EXPECT_EQ(VELMORA_OK, velmora_device_response("{}"));
    EXPECT_GT(told, 2);
    EXPECT_EQ(VELMORA_OK, velmora_preferences_unobserve(observer));
    EXPECT_EQ(VELMORA_OK, velmora_erase());
}

TEST_F(ErasureTest, AnObserverOrWorkOfTheLoopMayErase) {
    configure();
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    const auto observation = preferences_.observe("logout", [&](auto...) {
        EXPECT_TRUE(velmora_.erase()) << velmora_last_error_message();
        EXPECT_EQ(0, velmora_is_started());
    });
    preferences_.setBoolean("logout", true);
    EXPECT_THAT(preferences_.keys(), ElementsAre("logout"));
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    velmora_.mainRunLoop().perform([&] { EXPECT_TRUE(velmora_.erase()); });
    EXPECT_TRUE(velmora_.mainRunLoop().runUntilIdle(60));
    EXPECT_THAT(preferences_.keys(), ElementsAre("logout"));
}

TEST_F(ErasureTest, OnlyTheMainThreadErasesAndTheOthersAreTold) {
    configure();
    EXPECT_EQ(VELMORA_OK, velmora_erase()) << "before the start, too";
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    std::thread([] { EXPECT_EQ(VELMORA_WRONG_THREAD, velmora_erase()); }).join();
    EXPECT_EQ(1, velmora_is_started());
    std::thread setter([&] {
        for (int number = 0; number < 200; ++number)
            EXPECT_TRUE(preferences_.setString("IABTCF_TCString", std::to_string(number)));
    });
    EXPECT_EQ(VELMORA_OK, velmora_erase());
    setter.join();
    EXPECT_THAT(preferences_.keys(), ElementsAre("IABTCF_TCString"));
}

TEST_F(ErasureTest, WhatCannotBeOverwrittenIsTold) {
    std::filesystem::create_directory(store_);
    configure();
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    EXPECT_EQ(VELMORA_STORE_UNAVAILABLE, velmora_erase());
    EXPECT_THAT(velmora_last_error_message(), HasSubstr("call again"));
    EXPECT_EQ(0, velmora_is_started());
    EXPECT_THAT(preferences_.keys(), ElementsAre());
}

} // namespace
} // namespace vmr::test
