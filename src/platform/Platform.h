#pragma once

#include <memory>

namespace vmr {

class AdvertisingIdentity;
class BackgroundTasks;
class Clock;
class CurrentDevice;
class HTTPSession;
class InterceptionGuard;
class MainBundle;
class NotificationCenter;
class Preferences;
class RunLoops;
class SerialQueues;
class SystemLog;

/// Every service that the SDK's logic asks of the system. None may be empty.
struct Platform {
    std::shared_ptr<AdvertisingIdentity> advertisingIdentity;
    std::shared_ptr<BackgroundTasks> backgroundTasks;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<CurrentDevice> currentDevice;
    std::shared_ptr<HTTPSession> httpSession;
    std::shared_ptr<InterceptionGuard> interceptionGuard;
    std::shared_ptr<MainBundle> mainBundle;
    std::shared_ptr<NotificationCenter> notificationCenter;
    std::shared_ptr<Preferences> preferences;
    std::shared_ptr<RunLoops> runLoops;
    std::shared_ptr<SerialQueues> serialQueues;
    std::shared_ptr<SystemLog> systemLog;
    /// Whether a delivered post leaves the consent events that were stored while it was under way.
    bool keepUnsent = false;
};

/// The installed platform. Installed once before the start call and never taken away, so that
/// nothing that still runs at the process's end can find it gone.
const Platform &platform();
/// Replaces the platform; only while nothing uses it (before the start call, between tests).
void installPlatform(Platform services);

} // namespace vmr
