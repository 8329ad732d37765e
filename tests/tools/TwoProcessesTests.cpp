#include "support/TemporaryFolder.h"
#include "tools/Velmora.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <functional>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

/// One application twice on one store: the first works it, the second waits.
class TwoProcessesTests : public testing::Test {
protected:
    using Strings = std::vector<json>;

    std::vector<std::string> host(const std::string &address = "http://127.0.0.1:1/") const {
        return {"run",     "--api-key", "key",         "--secret",         "secret",
                "--store", store_,      "--bundle-id", "com.example.test", "--app-version",
                "1.2",     "--ingest",  address};
    }
    static Strings stringsOf(const json &events) {
        Strings strings;
        for (const json &event : events)
            strings.push_back(event["consentString"]);
        return strings;
    }
    static Strings waiting(Program &program) {
        return stringsOf(ask(program, "status")["storedConsentEvents"]);
    }
    /// Lets the program work until it holds, for a minute at most.
    static bool becomes(Program &program, const std::function<bool()> &condition) {
        for (int turn = 0; turn < 1200 && !condition(); ++turn)
            ask(program, "wait 0.05");
        return condition();
    }

    TemporaryFolder folder_;
    const std::string store_ = folder_.file("store.db");
};

TEST_F(TwoProcessesTests, TheFirstDoesTheWorkUntilItDies) {
    Program service = velmora({"ingest", "--api-key", "key", "--secret", "secret"});
    const std::string address = service.read()["listening"];
    Program first = velmora(host(address));
    ASSERT_EQ((Strings{nullptr, nullptr}), waiting(first));
    Program second = velmora(host(address));
    EXPECT_EQ(Strings{}, waiting(second));
    EXPECT_THAT(second.errors(), HasSubstr("is in charge of the store"));

    // The same text again is a change, there as here.
    second.write("set IABTCF_TCString CPa\nset IABTCF_TCString CPa\nremove IABTCF_TCString\n"
                 "set IABConsent_ConsentString CPb");
    for (int answer = 0; answer < 4; ++answer)
        second.read();
    EXPECT_EQ(nullptr, ask(second, "get IABTCF_TCString")["value"]);
    const Strings all{nullptr, nullptr, "CPa", "CPa", nullptr, "CPb"};
    json request;
    EXPECT_TRUE(becomes(first, [&] { return waiting(first).size() >= all.size(); }));
    ask(first, "settle 25");
    request = service.read();
    EXPECT_EQ(all, stringsOf(request["items"]));
    EXPECT_TRUE(request["sound"]) << request;
    EXPECT_EQ(Strings{}, waiting(first));
    EXPECT_EQ("CPb", ask(first, "status")["lastTCFv1String"]);

    first.signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, first.wait());
    EXPECT_TRUE(becomes(second, [&] { return !waiting(second).empty(); }));
    EXPECT_THAT(second.errors(), HasSubstr("from now on"));
    // As any start without a string.
    EXPECT_EQ((Strings{nullptr, nullptr}), waiting(second));
    ask(second, "set IABTCF_TCString CPc");
    ask(second, "settle 25");
    EXPECT_EQ((Strings{nullptr, nullptr, "CPc"}), stringsOf(service.read()["items"]));
}

TEST_F(TwoProcessesTests, WhoIsInChargeNoticesThatAnotherOneIsToo) {
    Program first = velmora(host());
    ask(first, "set IABTCF_TCString CPa");
    std::filesystem::remove(store_ + "-lock");
    Program second = velmora(host());
    ask(second, "set IABTCF_TCString CPb");
    EXPECT_TRUE(becomes(first, [&] {
        return first.errors().find("is in charge of the store now, too") != std::string::npos;
    }));
}

TEST_F(TwoProcessesTests, OnlyWhoIsInChargeErasesAndLeavesNothingToTheNext) {
    Program first = velmora(host());
    ask(first, "set IABTCF_TCString CPa");
    Program second = velmora(host());
    EXPECT_EQ(Strings{}, waiting(second));
    EXPECT_THAT(ask(second, "erase")["error"], HasSubstr("another process is in charge"));
    ask(second, "set IABTCF_TCString CPb");
    EXPECT_TRUE(becomes(first, [&] { return waiting(first).size() == 4; }));

    EXPECT_EQ(json({{"command", "erase"}}), ask(first, "erase"));
    EXPECT_EQ(Strings{}, waiting(first));
    // The second takes charge, and begins as any first start does: with what is set now.
    EXPECT_TRUE(becomes(second, [&] { return !waiting(second).empty(); })) << second.errors();
    EXPECT_EQ((Strings{"CPb", "CPb"}), waiting(second));
    ask(first, "set IABTCF_TCString CPc");
    EXPECT_TRUE(becomes(second, [&] { return waiting(second).size() == 3; }));
    EXPECT_THAT(ask(first, "erase")["error"], HasSubstr("another process is in charge"));
    ask(first, "start");
    EXPECT_THAT(first.errors(), HasSubstr("is in charge of the store"));
    EXPECT_EQ(0, ask(first, "status")["storedConsentEvents"].size());
}

TEST_F(TwoProcessesTests, WhatTheFirstHasNotSeenBecomesOneEventEach) {
    Program first = velmora(host());
    ask(first, "set IABTCF_TCString CPa");
    Program second = velmora(host());
    Program third = velmora(host());
    EXPECT_EQ(Strings{}, waiting(second));
    EXPECT_EQ(Strings{}, waiting(third));
    first.signal(SIGSTOP);
    ask(second, "set IABTCF_TCString CPb");
    EXPECT_TRUE(
        becomes(third, [&] { return ask(third, "get IABTCF_TCString")["value"] == "CPb"; }));
    ask(third, "set IABTCF_TCString CPc");
    first.signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, first.wait());
    const auto worker = [&]() -> Program * {
        ask(second, "wait 0.05");
        ask(third, "wait 0.05");
        if (!waiting(second).empty())
            return &second;
        return waiting(third).empty() ? nullptr : &third;
    };
    Program *next = nullptr;
    for (int turn = 0; turn < 600 && next == nullptr; ++turn)
        next = worker();
    ASSERT_NE(nullptr, next);
    // The start adds one for the side that has not known the string yet.
    EXPECT_EQ((Strings{nullptr, nullptr, "CPa", "CPb", "CPc", "CPc"}), waiting(*next));
    Program &other = next == &second ? third : second;
    EXPECT_EQ(Strings{}, waiting(other));
    ask(*next, "quit");
    EXPECT_EQ(0, next->wait());
    EXPECT_TRUE(becomes(other, [&] { return !waiting(other).empty(); })) << other.errors();
    EXPECT_EQ(6u, waiting(other).size());
}

} // namespace
} // namespace vmr::test
