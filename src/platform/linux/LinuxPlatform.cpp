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

struct Services {
    explicit Services(const LinuxOptions &options)
        : log(options.logSink ? options.logSink : writeToStandardError), runLoops(log, activity),
          queues(log, activity), notificationCenter(log),
          bundle(options.bundleIdentifier, options.informationDictionary, log,
                 options.informationEntries),
          device(options.systemVersion, options.identifierForVendor, bundle, {}),
          advertisingIdentity(options.advertisingIdentifier, options.trackingAuthorizationStatus,
                              options.advertisingTrackingEnabled),
          guard(options.http.allowProxy, log) {}

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
};

std::shared_ptr<SQLitePreferences> makePreferences(const LinuxOptions &options, Services &all) {
    SQLitePreferencesOptions store;
    store.path = options.storePath.value_or("");
    store.bundleIdentifier = all.bundle.bundleIdentifier().value_or("");
    store.isTool = options.storeCompanion;
    store.isShared = options.sharedFolder;
    store.watchedKeys = options.watchedKeys;
    store.log = kept(all.log);
    store.loop = kept(all.runLoops.main());
    return SQLitePreferences::make(std::move(store));
}

} // namespace

LinuxPlatform makeLinuxPlatform(const LinuxOptions &options) {
    auto made = std::make_unique<Services>(options);
    Services &all = *made;
    const auto preferences = makePreferences(options, all);
    HTTPSession *session = nullptr;
    HostHTTPSession *hostSession = nullptr;
    if (!options.transport)
        session = makeBuiltInSession(options.http, all.log, all.activity);
    if (session == nullptr)
        session = hostSession = new HostHTTPSession(
            options.transport.value_or(HostTransport()), all.runLoops, all.queues.make("vmr-http"),
            all.log, all.activity, options.http.responseLimit);
    made.release(); // from here on nothing needs memory
    return {.services = {.advertisingIdentity = kept(all.advertisingIdentity),
                         .backgroundTasks = kept(all.backgroundTasks),
                         .clock = kept(all.clock),
                         .currentDevice = kept(all.device),
                         .httpSession = kept(*session),
                         .interceptionGuard = kept(all.guard),
                         .mainBundle = kept(all.bundle),
                         .notificationCenter = kept(all.notificationCenter),
                         .preferences = preferences,
                         .runLoops = kept(all.runLoops),
                         .serialQueues = kept(all.queues),
                         .systemLog = kept(all.log),
                         .keepUnsent = options.keepUnsent},
            .runLoops = &all.runLoops,
            .preferencesFile = preferences,
            .hostSession = hostSession,
            .activity = &all.activity};
}

} // namespace vmr
