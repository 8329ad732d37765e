#pragma once

#include "platform/AdvertisingIdentity.h"
#include "platform/BackgroundTasks.h"
#include "platform/CurrentDevice.h"
#include "platform/InterceptionGuard.h"
#include "platform/MainBundle.h"
#include "platform/Mutex.h"
#include "platform/NotificationCenter.h"
#include "platform/Platform.h"
#include "platform/SerialQueue.h"
#include "support/FakeClock.h"
#include "support/ManualRunLoops.h"
#include "support/MemoryPreferences.h"
#include "support/RecordingLog.h"
#include "support/ScriptedHTTPSession.h"

#include <atomic>
#include <map>
#include <vector>

namespace vmr::test {

struct FakeBundle final : MainBundle {
    std::optional<std::string> bundleIdentifier() const override { return identifier; }
    Value objectForInfoDictionaryKey(std::string_view key) const override {
        return valueForKey(information, key);
    }
    std::optional<std::string> identifier = "com.example.host";
    Dictionary information{{"CFBundleShortVersionString", Value::string("2.5")},
                           {"VMRIngestBaseAddress", Value::string("http://127.0.0.1:9/ingest/")}};
};

struct FakeDevice final : CurrentDevice {
    std::string systemVersion() const override { return version; }
    std::string machine() const override { return model; }
    bool respondsToIdentifierForVendor() const override { return responds; }
    std::optional<std::string> identifierForVendor() const override { return vendor; }
    std::string version = "17.4";
    std::string model = "x86_64";
    bool responds = true;
    std::optional<std::string> vendor = "11111111-2222-4333-8444-555555555555";
};

struct FakeAdvertising final : AdvertisingIdentity {
    std::string advertisingIdentifier() const override { return identifier; }
    std::uint64_t trackingAuthorizationStatus() const override { return status; }
    bool isAdvertisingTrackingEnabled() const override { return enabled; }
    std::string identifier = "AAAAAAAA-BBBB-4CCC-8DDD-EEEEEEEEEEEE";
    std::uint64_t status = 0;
    bool enabled = false;
};

struct FakeGuard final : InterceptionGuard {
    Decision decide(const std::string &) const override { return decision; }
    Decision decision;
};

/// Remembers which tasks are running; the test expires one by calling its handler.
struct RecordingBackgroundTasks final : BackgroundTasks {
    Identifier beginBackgroundTask(const std::string &name,
                                   std::function<void()> expirationHandler) override {
        const MutexLock lock(mutex);
        names.push_back(name);
        running[++last] = std::move(expirationHandler);
        return last;
    }
    void endBackgroundTask(Identifier task) override {
        const MutexLock lock(mutex);
        ended.push_back(task);
        running.erase(task);
    }
    Mutex mutex;
    std::vector<std::string> names;
    std::vector<Identifier> ended;
    std::map<Identifier, std::function<void()>> running;
    Identifier last = 0;
};

/// Calls observers at once, in order.
class DirectNotificationCenter final : public NotificationCenter {
public:
    void addObserver(std::weak_ptr<void> observer, std::string_view name,
                     std::function<void(const Notification &)> handler) override;
    void removeObserver(const void *observer) override;
    void postNotification(std::string_view name, const void *object = nullptr) override;

private:
    struct Registration {
        std::weak_ptr<void> observer;
        const void *identity;
        std::string name;
        std::function<void(const Notification &)> handler;
    };
    std::vector<Registration> registrations_;
};

/// Queues with a thread each as long as they have jobs.
struct ThreadQueues final : SerialQueues {
    std::shared_ptr<SerialQueue> make(std::string label) override;
    /// Of all its queues.
    struct Jobs {
        std::atomic<int> begun{0};
        std::atomic<int> ended{0};
    };
    std::shared_ptr<Jobs> jobs = std::make_shared<Jobs>();
};

/// A platform made of doubles, installed when it is made. Make one for each test.
struct TestPlatform {
    TestPlatform();

    std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
    std::shared_ptr<ManualRunLoops> loops = std::make_shared<ManualRunLoops>(clock);
    std::shared_ptr<MemoryPreferences> preferences = std::make_shared<MemoryPreferences>();
    std::shared_ptr<ScriptedHTTPSession> http = std::make_shared<ScriptedHTTPSession>();
    std::shared_ptr<RecordingLog> log = std::make_shared<RecordingLog>();
    std::shared_ptr<FakeBundle> bundle = std::make_shared<FakeBundle>();
    std::shared_ptr<FakeDevice> device = std::make_shared<FakeDevice>();
    std::shared_ptr<FakeAdvertising> advertising = std::make_shared<FakeAdvertising>();
    std::shared_ptr<FakeGuard> guard = std::make_shared<FakeGuard>();
    std::shared_ptr<RecordingBackgroundTasks> backgroundTasks =
        std::make_shared<RecordingBackgroundTasks>();
    std::shared_ptr<DirectNotificationCenter> notifications =
        std::make_shared<DirectNotificationCenter>();
    std::shared_ptr<ThreadQueues> queues = std::make_shared<ThreadQueues>();
};

} // namespace vmr::test
