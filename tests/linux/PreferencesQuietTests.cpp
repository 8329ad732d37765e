#include "linux/PreferencesFixture.h"
#include "platform/linux/StartScope.h"
#include "platform/linux/preferences/PreferencesFile.h"

#include <poll.h>

#include <iterator>
#include <mutex>
#include <thread>
#include <utility>

namespace vmr::test {
namespace {

/// What the store does without being asked: threads, wake-ups, looking at others.
class PreferencesQuietTests : public PreferencesTest {
protected:
    /// Whether the host's loop would wake up now.
    bool isAwake() {
        pollfd one{loop->descriptor(), POLLIN, 0};
        return ::poll(&one, 1, 0) != 0;
    }
    static std::ptrdiff_t threads() {
        namespace fs = std::filesystem;
        return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
    }
};

TEST_F(PreferencesQuietTests, AWriteOfTheStartCallStartsItsThreadFromTheLoop) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer has a thread of its own";
#endif
    EXPECT_EQ(inChild([&] {
                  const auto preferences = open();
                  {
                      const StartScope scope;
                      preferences->setObject(Value::integer(1), "key");
                  }
                  if (threads() != 1)
                      return 1;
                  if (!runUntil([] { return threads() == 2; }))
                      return 2;
                  return 0;
              }),
              0);
}

TEST_F(PreferencesQuietTests, OwnWritesDoNotWakeTheHostsLoop) {
    const auto preferences = open();
    const auto size = [this] { return std::filesystem::file_size(path); };
    preferences->setObject(Value::integer(1), "key");
    loop->process();
    EXPECT_FALSE(isAwake());
    // From a thread of the host's, while its loop waits.
    bool woken = false;
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 0; i < 300; ++i)
            preferences->setObject(Value::integer(i), "key");
        preferences->setObject(Value::data(Data(std::string(6'000'000, 'x'))), "big");
        done = true;
    });
    while (!done)
        woken = isAwake() || woken;
    writer.join();
    EXPECT_FALSE(woken);
    EXPECT_TRUE(await([&] {
        woken = isAwake() || woken;
        return size() > 6'000'000; // the log was flushed and moved
    }));
    EXPECT_FALSE(woken || isAwake());
    // What was paused still hears others.
    OtherConnection(path).execute("UPDATE preferences SET value=9000 WHERE key='key'");
    EXPECT_TRUE(runUntil([&] { return preferences->objectForKey("key").integerValue() == 9000; }));
}

TEST_F(PreferencesQuietTests, TheLogWaitsForAPauseUnlessItIsLarge) {
    using std::chrono::milliseconds;
    const PreferencesLog::Moment commit(std::chrono::hours(1));
    struct {
        milliseconds pause;
        bool isLarge;
        milliseconds left;
    } const cases[] = {
        {milliseconds(0), false, milliseconds(1000)},
        {milliseconds(990), false, milliseconds(10)},
        {milliseconds(1000), false, milliseconds(0)},
        {std::chrono::hours(1), false, milliseconds(0)},
        {milliseconds(0), true, milliseconds(0)},
    };
    for (const auto &[pause, isLarge, left] : cases)
        EXPECT_EQ(PreferencesLog::timeUntilQuiet(commit + pause, commit, isLarge), left);
}

/// Counts how often the descriptor was readable, and leaves what is scheduled to the test.
class CountingLoop final : public ServiceLoop {
public:
    explicit CountingLoop(ServiceLoop &loop) : loop_(loop) {}
    void schedule(double, std::function<void()> work) override {
        const std::lock_guard lock(mutex_);
        later_.push_back(std::move(work));
    }
    void addDescriptor(int descriptor, std::function<void()> readable) override {
        loop_.addDescriptor(descriptor, [this, readable = std::move(readable)] {
            ++calls;
            readable();
        });
    }
    void removeDescriptor(int descriptor) override { loop_.removeDescriptor(descriptor); }
    std::vector<std::function<void()>> takeLater() {
        const std::lock_guard lock(mutex_);
        return std::exchange(later_, {});
    }
    int calls = 0;

private:
    ServiceLoop &loop_;
    std::mutex mutex_;
    std::vector<std::function<void()>> later_;
};

TEST_F(PreferencesQuietTests, TheLoopRestsWhileAnotherThreadWaitsForTheFile) {
    const auto counting = std::make_shared<CountingLoop>(*loop);
    SQLitePreferencesOptions settings = options();
    settings.loop = counting;
    const auto preferences = SQLitePreferences::make(settings);
    preferences->setObject(Value::integer(1), "mine");
    OtherConnection other(path);
    other.execute("INSERT INTO preferences VALUES('theirs','integer',1); BEGIN IMMEDIATE");
    std::thread waiting([&] {
        preferences->setObject(Value::integer(2), "mine");
        preferences->synchronizeWithin(std::chrono::seconds(60));
    });
    EXPECT_TRUE(await([&] { return log->countContaining("is held") == 1; }));
    std::filesystem::permissions(path, std::filesystem::perms(0600)); // the watch takes notice
    for (int pass = 0; pass < 10; ++pass)
        loop->process();
    EXPECT_EQ(counting->calls, 1);
    std::vector<std::function<void()>> looks = counting->takeLater();
    EXPECT_EQ(looks.size(), 1u);
    other.execute("COMMIT");
    waiting.join();
    EXPECT_TRUE(await([&] {
        for (const auto &look : looks)
            look();
        looks = counting->takeLater();
        return preferences->objectForKey("theirs").integerValue() == 1;
    }));
}

} // namespace
} // namespace vmr::test
