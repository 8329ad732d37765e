#include "platform/Activity.h"
#include "platform/Semaphore.h"
#include "platform/linux/HostBundle.h"
#include "platform/linux/UnixDevice.h"
#include "platform/linux/loops/LocalNotificationCenter.h"
#include "platform/linux/loops/ThreadSerialQueues.h"
#include "support/Kept.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(SerialQueueTest, JobsRunInOrderOnAThreadThatLeavesSignalsToTheHost) {
    auto &log = kept<RecordingLog>();
    auto &activity = kept<Activity>();
    auto queue = ThreadSerialQueues(log, activity).make("com.storage.thread_lock");

    Semaphore gate(0);
    Semaphore finished(0);
    std::vector<int> order;
    std::string threadName;
    bool takesSignals = true;
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);

    queue->async([&] {
        gate.wait();
        char name[16];
        pthread_getname_np(pthread_self(), name, sizeof name);
        threadName = name;
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        takesSignals = sigismember(&mask, SIGTERM) != 1;
        order.push_back(1);
    });
    queue->async([&] {
        order.push_back(2);
        throw std::runtime_error("broken job");
    });
    activity.onIdle([&] { finished.signal(); });
    // The jobs that wait are still done when the last handle goes.
    queue->async([&, last = queue]() mutable {
        order.push_back(3);
        last.reset();
    });
    queue.reset();
    EXPECT_FALSE(activity.isIdle());
    gate.signal();
    finished.wait();

    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    EXPECT_EQ(threadName, "com.storage.thr");
    EXPECT_FALSE(takesSignals);
    EXPECT_EQ(log.countContaining("broken job"), 1U);
    EXPECT_TRUE(activity.isIdle());
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(sigismember(&after, SIGTERM), sigismember(&before, SIGTERM));
}

TEST(SerialQueueTest, JobsThatGetNoThreadWaitForTheNextOne) {
    auto &log = kept<RecordingLog>();
    auto queue = ThreadSerialQueues(log, kept<Activity>()).make("starved");
    Semaphore finished(0);
    std::vector<int> order;

    pthread_attr_t usual;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    pthread_attr_t tooLarge;
    ASSERT_EQ(pthread_getattr_default_np(&tooLarge), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&tooLarge, std::size_t{1} << 60), 0);
    ASSERT_EQ(pthread_setattr_default_np(&tooLarge), 0);
    queue->async([&] { order.push_back(1); });
    queue->async([&] { order.push_back(2); });
    ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
    EXPECT_EQ(log.countContaining("\"starved\" gets no thread"), 1U);

    queue->async([&] {
        order.push_back(3);
        finished.signal();
    });
    finished.wait();
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(NotificationTest, DeliversInOrderOncePerRegistrationAndNeverToWhoIsGone) {
    RecordingLog log;
    LocalNotificationCenter center(log);
    std::vector<std::string> calls;
    auto first = std::make_shared<int>();
    auto second = std::make_shared<int>();
    const auto note = [&](std::string who) {
        return [&calls, who](const Notification &notification) {
            calls.push_back(who + " " + std::string(notification.name));
        };
    };

    center.addObserver(first, "N", note("1"));
    center.addObserver(second, "N", note("2"));
    center.addObserver(first, "N", note("1"));
    center.addObserver(first, "other", note("1"));
    center.postNotification("N");
    EXPECT_THAT(calls, ElementsAre("1 N", "2 N", "1 N"));

    calls.clear();
    center.removeObserver(first.get());
    center.addObserver(first, "N", [&](const Notification &) {
        center.removeObserver(second.get());
        throw std::runtime_error("broken observer");
    });
    center.addObserver(second, "N", note("2"));
    center.postNotification("other");
    center.postNotification("N");
    EXPECT_THAT(calls, ElementsAre("2 N")) << "removed while the notification was on its way";
    EXPECT_EQ(log.countContaining("broken observer"), 1U);

    first.reset();
    center.postNotification("N");
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST(UnixDeviceTest, ReadsTheVersionFromOsReleaseOrElseFromTheKernel) {
    const TemporaryFolder folder;
    RecordingLog log;
    const HostBundle bundle("app", Dictionary{}, log);
    const auto versionWith = [&](const std::string &osRelease, const std::string &fallback) {
        return UnixDevice({}, {}, bundle, {osRelease.c_str(), fallback.c_str(), ""})
            .systemVersion();
    };

    const auto quoted = folder.write("quoted", "ID=x\nXVERSION_ID=1\nVERSION_ID=\"22.04\"\nA=b\n");
    const auto plain = folder.write("plain", "VERSION_ID=12");
    const auto rolling = folder.write("rolling", "ID=arch\nVERSION_ID=\n");
    EXPECT_EQ(versionWith(quoted, plain), "22.04");
    EXPECT_EQ(versionWith(folder.file("missing"), plain), "12");
    const auto bytes = folder.write("bytes", "VERSION_ID=\xff");
    for (const auto &unusable : {rolling, bytes})
        EXPECT_THAT(versionWith(unusable, plain), testing::MatchesRegex("[0-9]+\\.[0-9.]*[0-9]"));

    // A distribution that counts low is no old system; one that the host names is.
    const auto low = folder.write("low", "VERSION_ID=3.19.1");
    const UnixDevice distribution({}, {}, bundle, {low.c_str(), "", ""});
    EXPECT_TRUE(distribution.isSystemVersionAtLeast(9, 3));
    EXPECT_FALSE(distribution.isSystemVersionAtLeast(14, 0));
    EXPECT_FALSE(UnixDevice("8.4", {}, bundle, {low.c_str(), "", ""}).isSystemVersionAtLeast(9, 0));
    EXPECT_EQ(UnixDevice("9.1", {}, bundle, {quoted.c_str(), "", ""}).systemVersion(), "9.1");
}

TEST(UnixDeviceTest, TheVendorIdentifierHidesTheMachineIdAndDiffersBetweenApplications) {
    const TemporaryFolder folder;
    const auto vendorOf = [&](std::optional<std::string> bundleIdentifier,
                              const std::string &machineId,
                              const std::optional<std::string> &given = {}) {
        RecordingLog log;
        const HostBundle bundle(std::move(bundleIdentifier), Dictionary{}, log);
        return UnixDevice({}, given, bundle, {"", "", folder.write("id", machineId).c_str()})
            .identifierForVendor();
    };

    const std::string machineId = "000102030405060708090a0b0c0d0e0f\n";
    // HMAC-SHA256 of "com.example.host", its first 16 bytes.
    EXPECT_EQ(vendorOf("com.example.host", machineId), "4DDFC43B-C245-42A7-A5CE-8D20BB3782C3");
    EXPECT_NE(vendorOf("com.example.other", machineId), vendorOf("com.example.host", machineId));

    for (const auto *wrong : {"", "uninitialized\n", "0001", "0x0102030405060708090a0b0c0d0e0f"})
        EXPECT_EQ(vendorOf("com.example.host", wrong), std::nullopt) << wrong;
    EXPECT_EQ(vendorOf(std::nullopt, machineId), std::nullopt);

    EXPECT_EQ(vendorOf({}, "", "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE"),
              "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE");
}

TEST(HostBundleTest, TakesTheHostsWordAndElseTheFile) {
    const TemporaryFolder folder;
    RecordingLog log;
    const auto file = folder.write("Info.json", R"({"CFBundleIdentifier": "from.file",
        "CFBundleShortVersionString": "2.5", "VMRLogsEnabled": true})");

    const HostBundle fromFile({}, {}, log, {}, file);
    EXPECT_EQ(fromFile.bundleIdentifier(), "from.file");
    EXPECT_TRUE(fromFile.objectForInfoDictionaryKey("VMRLogsEnabled").boolValue());
    EXPECT_TRUE(fromFile.objectForInfoDictionaryKey("missing").isAbsent());

    const HostBundle named("from.host", {}, log, {}, file);
    EXPECT_EQ(named.bundleIdentifier(), "from.host");
    EXPECT_EQ(named.objectForInfoDictionaryKey("CFBundleIdentifier").description(), "from.host");
    EXPECT_EQ(named.objectForInfoDictionaryKey("CFBundleShortVersionString").description(), "2.5");

    for (const char *broken : {"a\r\nX-Evil: 1", "a\n", "a\x1b[2J", "\x7f"}) {
        const Dictionary dictionary{{"CFBundleIdentifier", Value::string(broken)}};
        EXPECT_FALSE(HostBundle({}, dictionary, log).bundleIdentifier());
    }
    const HostBundle given({}, Dictionary{{"CFBundleIdentifier", Value::integer(1)}}, log, {},
                           file);
    EXPECT_EQ(given.bundleIdentifier(), std::nullopt);
    EXPECT_TRUE(given.objectForInfoDictionaryKey("VMRLogsEnabled").isAbsent());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(HostBundleTest, AFileThatIsOfNoUseIsReportedOnceAndCountsAsEmpty) {
    const TemporaryFolder folder;
    const auto pipe = folder.file("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::vector<std::string> useless{folder.write("broken", "{\"CFBundleIdentifier\": "),
                                           folder.write("list", "[1]"),
                                           folder.write("empty", ""),
                                           folder.write("huge", std::string(2 << 20, ' ')),
                                           folder.path(),
                                           pipe};
    for (const auto &file : useless) {
        RecordingLog log;
        const HostBundle bundle({}, {}, log, {}, file);
        EXPECT_EQ(bundle.bundleIdentifier(), std::nullopt) << file;
        EXPECT_TRUE(bundle.objectForInfoDictionaryKey("VMRLogsEnabled").isAbsent()) << file;
        EXPECT_EQ(log.countContaining(file + " is not used: "), 1U) << file;
        EXPECT_EQ(log.lines().size(), 1U) << file;
    }
    RecordingLog log;
    EXPECT_EQ(HostBundle({}, {}, log, {}, folder.file("missing")).bundleIdentifier(), std::nullopt);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(std::filesystem::path(HostBundle::infoFileBesideExecutable()),
              std::filesystem::read_symlink("/proc/self/exe").parent_path() / "Info.json");
}

} // namespace
} // namespace vmr::test
