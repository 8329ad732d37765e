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

/// For those that live as long as what it points to.
template <class Service>
std::shared_ptr<Service> unowned(Service &service) {
    return {std::shared_ptr<void>(), &service};
}

/// Those that need nobody to outlive the others, in one piece.
struct Services {
    explicit Services(const LinuxOptions &options)
        : log(options.logSink ? options.logSink : writeToStandardError),
          runLoops(unowned(log), unowned(activity)), queues(unowned(log), unowned(activity)),
          notificationCenter(unowned(log)),
          bundle(options.bundleIdentifier, options.informationDictionary, unowned(log),
                 options.informationEntries),
          device(options.systemVersion, options.identifierForVendor, unowned(bundle)),
          advertisingIdentity(options.advertisingIdentifier, options.trackingAuthorizationStatus,
                              options.advertisingTrackingEnabled),
          guard(options.http.allowProxy, unowned(log)) {}

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

std::shared_ptr<SQLitePreferences> makePreferences(const LinuxOptions &options,
                                                   const MainBundle &bundle,
                                                   std::shared_ptr<SystemLog> log,
                                                   const std::shared_ptr<LinuxRunLoops> &runLoops) {
    SQLitePreferencesOptions store;
    store.path = options.storePath.value_or("");
    store.bundleIdentifier = bundle.bundleIdentifier().value_or("");
    store.isTool = options.storeCompanion;
    store.isShared = options.sharedFolder;
    store.watchedKeys = options.watchedKeys;
    store.log = std::move(log);
    store.loop = std::shared_ptr<ServiceLoop>(runLoops, &runLoops->main());
    return SQLitePreferences::make(std::move(store));
}

} // namespace

LinuxPlatform makeLinuxPlatform(const LinuxOptions &options) {
    const auto all = std::make_shared<Services>(options);
    const auto part = [&all](auto &service) {
        return std::shared_ptr<std::remove_reference_t<decltype(service)>>(all, &service);
    };
    const auto log = part(all->log);
    const auto activity = part(all->activity);
    const auto runLoops = part(all->runLoops);
    const auto preferences = makePreferences(options, all->bundle, log, runLoops);
    std::shared_ptr<HostHTTPSession> hostSession;
    std::shared_ptr<HTTPSession> session;
    if (!options.transport)
        session = makeBuiltInSession(options.http, log, activity);
    if (!session)
        session = hostSession = std::make_shared<HostHTTPSession>(
            options.transport.value_or(HostTransport()), runLoops, all->queues.make("vmr-http"),
            log, activity, options.http.responseLimit);
    return {.services = {.advertisingIdentity = part(all->advertisingIdentity),
                         .backgroundTasks = part(all->backgroundTasks),
                         .clock = part(all->clock),
                         .currentDevice = part(all->device),
                         .httpSession = session,
                         .interceptionGuard = part(all->guard),
                         .mainBundle = part(all->bundle),
                         .notificationCenter = part(all->notificationCenter),
                         .preferences = preferences,
                         .runLoops = runLoops,
                         .serialQueues = part(all->queues),
                         .systemLog = log,
                         .keepUnsent = options.keepUnsent},
            .runLoops = runLoops,
            .preferencesFile = preferences,
            .hostSession = hostSession,
            .activity = activity};
}

} // namespace vmr
