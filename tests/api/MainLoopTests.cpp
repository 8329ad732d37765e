#include "api/HostFixture.h"

#include <unistd.h>

#include <thread>

namespace vmr::test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string diagnosis() {
    return VelmoraKit::Velmora::sharedVelmora().diagnose();
}

TEST_F(HostTest, SetsFromAnyThreadAreMadeByTheMainLoopAndPosted) {
    configure();
    auto &preferences = VelmoraKit::Velmora::sharedVelmora().preferences();
    EXPECT_THAT(diagnosis(), HasSubstr("the start call has not been made"));
    EXPECT_THAT(diagnosis(), HasSubstr(R"("thread":null)"));
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    std::vector<std::thread::id> threads;
    const auto observation = preferences.observe(
        nullptr, [&](auto...) { threads.push_back(std::this_thread::get_id()); });
    threads.clear();
    std::thread([&] {
        EXPECT_TRUE(preferences.setStringOnMainLoop("IABTCF_TCString", "first"));
        EXPECT_TRUE(preferences.setJsonOnMainLoop("list", "[1]"));
        EXPECT_TRUE(preferences.setStringOnMainLoop("gone", "soon"));
        EXPECT_TRUE(preferences.removeOnMainLoop("gone"));
        EXPECT_FALSE(preferences.setStringOnMainLoop("key", std::string("a\0b", 3)));
    }).join();
    EXPECT_EQ(std::nullopt, preferences.json("IABTCF_TCString")) << "only accepted so far";
    EXPECT_THAT(diagnosis(), HasSubstr(R"("queued":4)"));
    EXPECT_THAT(diagnosis(), HasSubstr("\"thread\":" + std::to_string(gettid())));

    EXPECT_EQ(VELMORA_OK, velmora_run_loop_process());
    EXPECT_EQ("\"first\"", preferences.json("IABTCF_TCString"));
    EXPECT_EQ("[1]", preferences.json("list"));
    EXPECT_EQ(std::nullopt, preferences.json("gone"));
    EXPECT_FALSE(threads.empty());
    for (const std::thread::id thread : threads)
        EXPECT_EQ(std::this_thread::get_id(), thread);
    EXPECT_THAT(diagnosis(), HasSubstr(R"("delayedCalls":1,)"));
    EXPECT_THAT(diagnosis(), HasSubstr("the post is due in a moment"));
    EXPECT_TRUE(preferences.removeOnMainLoop("list"));
    EXPECT_THAT(diagnosis(), HasSubstr("a job is under way"));
    EXPECT_TRUE(VelmoraKit::Velmora::sharedVelmora().mainRunLoop().runUntilIdle(60));
    EXPECT_THAT(diagnosis(), HasSubstr("the last request failed"));
}

TEST_F(HostTest, AConsentStringThatWaitsUnsentIsToldOnce) {
    velmora_options given = options();
    const std::string &lines = linesFor(given);
    ASSERT_EQ(VELMORA_OK, velmora_configure(&given));
    auto &preferences = VelmoraKit::Velmora::sharedVelmora().preferences();
    const auto setElsewhere = [&](const char *key) {
        std::thread([&] { EXPECT_TRUE(preferences.setString(key, "text")); }).join();
    };
    setElsewhere("IABTCF_TCString"); // the start sees to it
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    preferences.setString("IABTCF_TCString", "here");
    setElsewhere("IABTCF_gdprApplies");
    EXPECT_THAT(lines, Not(HasSubstr("on another thread")));
    setElsewhere("IABConsent_ConsentString");
    const std::size_t told = lines.find("VelmoraKit: a consent string was set on another thread");
    ASSERT_NE(std::string::npos, told) << lines;
    setElsewhere("IABTCF_TCString");
    EXPECT_EQ(std::string::npos, lines.find("on another thread", told + 60));
}

} // namespace
} // namespace vmr::test
