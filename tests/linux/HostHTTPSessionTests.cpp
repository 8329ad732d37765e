#include "linux/HTTPClient.h"
#include "platform/linux/http/HostHTTPSession.h"
#include "platform/linux/loops/LinuxRunLoops.h"
#include "platform/linux/loops/ThreadSerialQueues.h"

namespace vmr::test {
namespace {

class HostHTTPSessionTest : public testing::Test {
protected:
    /// How an exchange ends that the session is given, and how often.
    HTTPOutcome send(HTTPRequest request) {
        auto &session = kept<HostHTTPSession>(
            transport, loops, ThreadSerialQueues(log, activity).make("test"), log, activity, 1024);
        HTTPOutcome ended;
        int completions = 0;
        session.send(std::move(request), [&](const HTTPOutcome &outcome) {
            ended = outcome;
            ++completions;
        });
        EXPECT_TRUE(loops.runUntilIdle(60));
        EXPECT_EQ(completions, 1);
        return ended;
    }

    HostTransport transport;
    RecordingLog &log = kept<RecordingLog>();
    Activity &activity = kept<Activity>();
    LinuxRunLoops &loops = kept<LinuxRunLoops>(log, activity);
};

TEST_F(HostHTTPSessionTest, WithoutATransportEachRequestFailsAndTheLogSaysWhatToDo) {
    EXPECT_NE(errorDetail(send({"https://example.com/", "POST", {}, {}}))
                  .find("call velmora_set_transport before the start"),
              std::string::npos);
    EXPECT_EQ(log.countContaining("requests cannot be sent: this library was built without"), 1u);
}

TEST_F(HostHTTPSessionTest, WhatMustNotGoOutNeverReachesTheTransport) {
    transport.start = [](const void *, std::uint64_t, const HTTPRequest &) { ADD_FAILURE(); };
    EXPECT_EQ(errorCode(send({"http://example.com/", "POST", {}, {}})), -1022);
    EXPECT_EQ(errorCode(send({"https://example.com/", "P T", {}, {}})), -1000);
    EXPECT_EQ(errorCode(send({"https://example.com/", "POST", {{"a", "b\nc"}}, {}})), -1000);
    EXPECT_EQ(
        errorCode(send({"https://example.com/", "POST", {}, HTTPBody([]() -> std::optional<Data> {
                            throw std::bad_alloc();
                        })})),
        -1);
    EXPECT_EQ(log.countContaining("VelmoraKit: requests cannot be sent: "), 4u);
}

} // namespace
} // namespace vmr::test
