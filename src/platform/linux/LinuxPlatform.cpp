#include "platform/linux/LinuxPlatform.h"

#include "platform/linux/HostAdvertisingIdentity.h"
#include "platform/linux/HostBundle.h"
#include "platform/linux/LineLog.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/UncountedBackgroundTasks.h"
#include "platform/linux/UnixDevice.h"
#include "platform/linux/http/BuiltInTransport.h"
#include "platform/linux/http/HostHTTPSession.h"
#include "platform/linux/http/ProxyInterceptionGuard.h"
#include "platform/linux/loops/EpollRunLoop.h"
#include "platform/linux/loops/LinuxRunLoops.h"
#include "platform/linux/loops/LocalNotificationCenter.h"
#include "platform/linux/loops/ThreadSerialQueues.h"
#include "platform/linux/preferences/SQLitePreferences.h"

namespace vmr {
namespace {

/// For what is never destroyed.
template <class Service>
std::shared_ptr<Service> kept(Service &service) {
    return {std::shared_ptr<void>(), &service};
}

/// All of them in one piece, each after those that it uses.
struct Services {
    explicit Services(const LinuxOptions &options)
        : log(options.logSink ? options.logSink : writeToStandardError), runLoops(log, activity),
          queues(log, activity), notificationCenter(log),
          bundle(options.bundleIdentifier, options.informationDictionary, log,
                 options.informationEntries),
          device(options.systemVersion, options.identifierForVendor, bundle, {}),
          advertisingIdentity(options.advertisingIdentifier, options.trackingAuthorizationStatus,
                              options.advertisingTrackingEnabled),
          guard(options.http.allowProxy, log), preferences(openPreferences(options)) {
        if (options.transport.start == nullptr)
            session = makeBuiltInSession(options.http, log, activity);
        if (session == nullptr)
            session = hostSession =
                new HostHTTPSession(options.transport, runLoops, queues.make("vmr-http"), log,
                                    activity, options.http.responseLimit);
    }

    Services(const Services &) = delete;
    Services &operator=(const Services &) = delete;

    LineLog log;
    Activity activity;
    SystemClock clock;
    LinuxRunLoops runLoops;
    ThreadSerialQueues queues;
    LocalNotificationCenter notificationCenter;
    UncountedBackgroundTasks backgroundTasks;
    HostBundle bundle;
    UnixDevice device;
    HostAdvertisingIdentity advertisingIdentity;
    ProxyInterceptionGuard guard;
    std::shared_ptr<SQLitePreferences> preferences;
    HostHTTPSession *hostSession = nullptr;
    HTTPSession *session = nullptr;

private:
    std::shared_ptr<SQLitePreferences> openPreferences(const LinuxOptions &options) {
        SQLitePreferencesOptions store;
        store.path = options.storePath.value_or("");
        store.bundleIdentifier = bundle.bundleIdentifier().value_or("");
        store.isTool = options.storeCompanion;
        store.isShared = options.sharedFolder;
        store.watchedKeys = options.watchedKeys;
        store.log = kept(log);
        store.loop = kept(runLoops.main());
        return SQLitePreferences::make(std::move(store));
    }
};

} // namespace

LinuxPlatform makeLinuxPlatform(const LinuxOptions &options) {
    auto made = std::make_unique<Services>(options);
    Services &all = *made;
    const LinuxPlatform platform{.services = {.advertisingIdentity = &all.advertisingIdentity,
                                              .backgroundTasks = &all.backgroundTasks,
                                              .clock = &all.clock,
                                              .currentDevice = &all.device,
                                              .httpSession = all.session,
                                              .interceptionGuard = &all.guard,
                                              .mainBundle = &all.bundle,
                                              .notificationCenter = &all.notificationCenter,
                                              .preferences = all.preferences.get(),
                                              .runLoops = &all.runLoops,
                                              .serialQueues = &all.queues,
                                              .systemLog = &all.log,
                                              .keepUnsent = options.keepUnsent},
                                 .runLoops = &all.runLoops,
                                 .preferencesFile = all.preferences.get(),
                                 .hostSession = all.hostSession,
                                 .activity = &all.activity};
    installPlatform(platform.services);
    static_cast<void>(made.release()); // there is no end of theirs
    return platform;
}

} // namespace vmr
