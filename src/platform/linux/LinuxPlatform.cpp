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

std::shared_ptr<SQLitePreferences> makePreferences(const LinuxOptions &options,
                                                   const MainBundle &bundle,
                                                   std::shared_ptr<SystemLog> log,
                                                   std::shared_ptr<Clock> clock,
                                                   const std::shared_ptr<LinuxRunLoops> &runLoops) {
    SQLitePreferencesOptions store;
    store.path = options.storePath.value_or("");
    store.bundleIdentifier = bundle.bundleIdentifier().value_or("");
    store.isTool = options.storeCompanion;
    store.isShared = options.sharedFolder;
    store.watchedKeys = options.watchedKeys;
    store.log = std::move(log);
    store.clock = std::move(clock);
    store.loop.watchDescriptor = [runLoops](int descriptor, std::function<void()> readable) {
        runLoops->main().addDescriptor(descriptor, std::move(readable));
    };
    store.loop.unwatchDescriptor = [runLoops](int descriptor) {
        runLoops->main().removeDescriptor(descriptor);
    };
    store.loop.runLater = [runLoops](double seconds, std::function<void()> work) {
        runLoops->main().schedule(seconds, std::move(work));
    };
    return std::make_shared<SQLitePreferences>(std::move(store));
}

} // namespace

LinuxPlatform makeLinuxPlatform(const LinuxOptions &options) {
    const auto log =
        std::make_shared<LineLog>(options.logSink ? options.logSink : writeToStandardError);
    const auto activity = std::make_shared<Activity>();
    const auto runLoops = std::make_shared<LinuxRunLoops>(log, activity);
    const auto bundle = std::make_shared<HostBundle>(
        options.bundleIdentifier, options.informationDictionary, log, options.informationEntries);

    const auto clock = std::make_shared<SystemClock>();

    LinuxPlatform platform;
    platform.runLoops = runLoops;
    platform.activity = activity;
    Platform &services = platform.services;
    services.keepUnsent = options.keepUnsent;
    services.systemLog = log;
    services.clock = clock;
    services.runLoops = runLoops;
    services.serialQueues = std::make_shared<ThreadSerialQueues>(log, activity);
    services.notificationCenter = std::make_shared<LocalNotificationCenter>(log);
    services.backgroundTasks = std::make_shared<UncountedBackgroundTasks>();
    services.mainBundle = bundle;
    services.currentDevice =
        std::make_shared<UnixDevice>(options.systemVersion, options.identifierForVendor, bundle);
    services.advertisingIdentity = std::make_shared<HostAdvertisingIdentity>(
        options.advertisingIdentifier, options.trackingAuthorizationStatus,
        options.advertisingTrackingEnabled);
    const auto preferences = makePreferences(options, *bundle, log, clock, runLoops);
    services.preferences = preferences;
    platform.preferencesFile = preferences;
    services.interceptionGuard =
        std::make_shared<ProxyInterceptionGuard>(options.http.allowProxy, log);
    if (!options.transport)
        services.httpSession = makeBuiltInSession(options.http, log, activity);
    if (!services.httpSession) {
        platform.hostSession = std::make_shared<HostHTTPSession>(
            options.transport.value_or(HostTransport()), runLoops,
            services.serialQueues->make("vmr-http"), log, activity, options.http.responseLimit);
        services.httpSession = platform.hostSession;
    }
    return platform;
}

} // namespace vmr
