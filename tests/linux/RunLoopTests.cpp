#include "platform/linux/OwnedDescriptor.h"
#include "platform/linux/loops/EpollRunLoop.h"
#include "platform/linux/loops/LinuxRunLoops.h"
#include "support/Kept.h"
#include "support/RecordingLog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double generousSeconds = 30;

bool isReadable(int descriptor, int milliseconds = 0) {
    pollfd waited{descriptor, POLLIN, 0};
    return ::poll(&waited, 1, milliseconds) == 1;
}

/// Every timer of the process that is set to go off; the loops under test are all there is.
int armedTimers() {
    int armed = 0;
    for (int descriptor = 0; descriptor < 256; ++descriptor) {
        itimerspec setting{};
        if (::timerfd_gettime(descriptor, &setting) == 0 &&
            (setting.it_value.tv_sec != 0 || setting.it_value.tv_nsec != 0))
            ++armed;
    }
    return armed;
}

class RunLoopTest : public testing::Test {
protected:
    void after(double delay, std::string_view operation, std::function<void()> call) {
        loops.current().performAfterDelay({target.get(), operation, {}}, target, std::move(call),
                                          delay);
    }
    void note(std::string text) { notes.push_back(std::move(text)); }
    /// What a host with its own loop does: wait for the descriptor, then process once.
    void processWhenReadable() {
        ASSERT_TRUE(
            isReadable(loops.main().descriptor(), static_cast<int>(generousSeconds * 1000)));
        loops.process();
    }

    RecordingLog &log = kept<RecordingLog>(); // threads' loops keep it
    Activity activity;
    LinuxRunLoops loops{log, activity};
    std::shared_ptr<int> target = std::make_shared<int>();
    std::vector<std::string> notes;
};

TEST_F(RunLoopTest, DelayedCallsMakeTheDescriptorReadableWhenTheyAreDue) {
    loops.adoptMainThread();
    const int descriptor = loops.main().descriptor();
    EXPECT_FALSE(isReadable(descriptor));

    after(3600, "late", [&] { note("late"); });
    EXPECT_FALSE(isReadable(descriptor));
    EXPECT_EQ(armedTimers(), 1);

    after(0, "first", [&] {
        note("first");
        after(0, "nested", [&] { note("nested"); });
    });
    after(0, "second", [&] { note("second"); });
    EXPECT_THAT(notes, IsEmpty());
    processWhenReadable();
    EXPECT_THAT(notes, ElementsAre("first", "second")) << "a nested call waits for a later pass";
    processWhenReadable();
    EXPECT_THAT(notes, ElementsAre("first", "second", "nested"));
    EXPECT_FALSE(isReadable(descriptor));
    EXPECT_FALSE(loops.main().isIdle());

    loops.current().cancelPreviousPerformRequests({target.get(), "late", {}});
    EXPECT_EQ(armedTimers(), 0) << "nothing may wake up when there is nothing to do";
    EXPECT_TRUE(loops.main().isIdle());
}

TEST_F(RunLoopTest, ACallForATargetThatIsGoneIsDropped) {
    loops.adoptMainThread();
    after(0, "call", [&] { note("call"); });
    target.reset();
    processWhenReadable();
    EXPECT_THAT(notes, IsEmpty());
    EXPECT_TRUE(loops.main().isIdle());
}

TEST_F(RunLoopTest, QueuedWorkRunsInOrderAndLeavesNothingReadable) {
    // Before anybody ran the loop or asked for its descriptor, and from any thread.
    std::thread([&] { loops.mainQueue().async([&] { note("early"); }); }).join();
    loops.mainQueue().async([&] {
        note("outer");
        loops.mainQueue().async([&] { note("inner"); });
        loops.process();
        loops.run();
        EXPECT_FALSE(loops.main().isIdle());
        note("outer ends");
    });
    EXPECT_FALSE(loops.main().isIdle());
    processWhenReadable();
    EXPECT_THAT(notes, ElementsAre("early", "outer", "outer ends"));
    processWhenReadable();
    EXPECT_EQ(notes.back(), "inner");
    EXPECT_FALSE(isReadable(loops.main().descriptor()));
    EXPECT_TRUE(loops.main().isIdle());

    std::thread([&] { loops.mainQueue().async([&] { note("woken"); }); }).join();
    processWhenReadable();
    EXPECT_EQ(notes.back(), "woken");
    EXPECT_FALSE(isReadable(loops.main().descriptor()));
}

TEST_F(RunLoopTest, WhatACallbackThrowsIsLoggedAndDropped) {
    loops.adoptMainThread();
    after(0, "throws", [] { throw std::runtime_error("broken call"); });
    after(0, "next", [&] { note("next"); });
    loops.mainQueue().async([] { throw 42; });
    loops.mainQueue().async([&] { note("job"); });
    EXPECT_TRUE(loops.run(generousSeconds, [&] { return notes.size() == 2; }));
    EXPECT_THAT(notes, ElementsAre("next", "job"));
    EXPECT_EQ(log.countContaining("broken call"), 1U);
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(RunLoopTest, WatchedDescriptorsAreServedUntilTheyAreRemoved) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const OwnedDescriptor reader(ends[0]);
    const OwnedDescriptor writer(ends[1]);
    // One is added before the loop has descriptors of its own, the other one afterwards.
    loops.main().addDescriptor(reader.get(), [&] {
        char byte = 0;
        EXPECT_EQ(::read(reader.get(), &byte, 1), 1);
        note(std::string(1, byte));
    });
    ASSERT_EQ(::write(writer.get(), "a", 1), 1);
    processWhenReadable();
    EXPECT_THAT(notes, ElementsAre("a"));
    EXPECT_FALSE(isReadable(loops.main().descriptor()));

    loops.main().removeDescriptor(reader.get());
    ASSERT_EQ(::write(writer.get(), "b", 1), 1);
    EXPECT_FALSE(isReadable(loops.main().descriptor()));

    loops.main().addDescriptor(reader.get(), [&] {
        note("removes itself");
        loops.main().removeDescriptor(reader.get());
    });
    processWhenReadable();
    EXPECT_THAT(notes, ElementsAre("a", "removes itself"));
    EXPECT_FALSE(isReadable(loops.main().descriptor()));
}

TEST_F(RunLoopTest, HousekeepingTimersRunButKeepNobodyWaiting) {
    loops.adoptMainThread();
    loops.main().schedule(3600, [] {});
    EXPECT_TRUE(loops.main().isIdle());
    EXPECT_TRUE(loops.runUntilIdle(generousSeconds));

    std::thread([&] { loops.main().schedule(0, [&] { note("due"); }); }).join();
    processWhenReadable();
    EXPECT_THAT(notes, ElementsAre("due"));
}

TEST_F(RunLoopTest, RunUntilIdleWaitsForOtherThreadsAndWhatTheyLeaveBehind) {
    loops.adoptMainThread();
    activity.begin();
    std::thread worker;
    // The work ends only after the loop has begun to wait for it.
    loops.mainQueue().async([&] {
        worker = std::thread([&] {
            loops.mainQueue().async([&] {
                note("result");
                after(0, "follow-up", [&] { note("follow-up"); });
            });
            activity.end();
        });
    });
    EXPECT_TRUE(loops.runUntilIdle(generousSeconds));
    EXPECT_THAT(notes, ElementsAre("result", "follow-up"));
    worker.join();

    // A run within a callback ends at once, and the outer one still hears of the last work's end.
    activity.begin();
    loops.mainQueue().async([&] {
        EXPECT_FALSE(loops.runUntilIdle(generousSeconds));
        worker = std::thread([&] { activity.end(); });
    });
    EXPECT_TRUE(loops.runUntilIdle(generousSeconds));
    worker.join();

    activity.begin();
    EXPECT_FALSE(loops.runUntilIdle(0));
    activity.end();
    EXPECT_FALSE(isReadable(loops.main().descriptor())) << "nobody waits for it any more";
}

TEST_F(RunLoopTest, StopEndsTheRunFromAnyThreadAndIsNotLostBeforeIt) {
    loops.adoptMainThread();
    std::thread stopper;
    loops.mainQueue().async([&] { stopper = std::thread([&] { loops.main().stop(); }); });
    loops.run();
    stopper.join();

    loops.main().stop();
    loops.run();
    EXPECT_FALSE(isReadable(loops.main().descriptor()));
}

TEST_F(RunLoopTest, TheMainLoopBelongsToOneThreadForAsLongAsItLives) {
    loops.mainQueue().async([&] { note("main work"); });
    std::atomic<bool> leave{false};
    std::atomic<bool> ready{false};
    std::thread owner([&] {
        loops.adoptMainThread();
        ready = true;
        ready.notify_one();
        leave.wait(false);
    });
    ready.wait(false);
    EXPECT_FALSE(loops.adoptMainThread());
    EXPECT_FALSE(loops.isMainThread());
    RunLoop &plain = loops.current();
    loops.process();
    EXPECT_THAT(notes, IsEmpty());

    // This thread can run a loop of its own.
    after(0, "own", [&] { note("own"); });
    EXPECT_TRUE(loops.run(generousSeconds, [&] { return !notes.empty(); }));
    EXPECT_THAT(notes, ElementsAre("own"));

    leave = true;
    leave.notify_one();
    owner.join();
    processWhenReadable();
    EXPECT_THAT(notes, ElementsAre("own", "main work"));
    EXPECT_NE(&loops.current(), &plain);
}

TEST_F(RunLoopTest, AThreadThatEndsDropsItsCallsAndMayStillAskForItsLoop) {
    struct AsksLate {
        ~AsksLate() {
            owner->current().performAfterDelay(
                {this, "late", {}}, std::make_shared<int>(), [] {}, 0);
        }
        LinuxRunLoops *owner;
    };
    const std::weak_ptr<int> held = target;
    std::thread([&, moved = std::move(target)]() mutable {
        // Made before the thread's loop, so destroyed after it.
        thread_local AsksLate late{&loops};
        late.owner = &loops;
        loops.current().performAfterDelay(
            {moved.get(), "call", {}}, moved, [kept = moved] { FAIL() << *kept; }, 0);
    }).join();
    EXPECT_TRUE(held.expired());
    EXPECT_TRUE(loops.main().isIdle());
}

TEST_F(RunLoopTest, WithoutDescriptorsTheLoopSaysSoOnceAndStillRuns) {
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    // Two are left, one less than a loop needs.
    rlimit tight{0, limit.rlim_max};
    for (int left = 2; left > 0; ++tight.rlim_cur)
        left -= ::fcntl(static_cast<int>(tight.rlim_cur), F_GETFD) < 0 ? 1 : 0;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);

    EXPECT_EQ(loops.main().descriptor(), -1);
    loops.mainQueue().async([&] { note("job"); });
    loops.adoptMainThread();
    after(0, "call", [&] { note("call"); });
    EXPECT_TRUE(loops.run(generousSeconds, [&] { return notes.size() == 2; }));
    EXPECT_EQ(log.countContaining("cannot open its descriptors: Too many open files"), 1U);

    loops.mainQueue().async([&] { note("later"); });
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    processWhenReadable();
    EXPECT_EQ(notes.back(), "later");
}

} // namespace
} // namespace vmr::test
