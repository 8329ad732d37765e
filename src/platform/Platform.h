#pragma once

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

/// Every service that the SDK's logic asks of the system; each lives as long as the process.
struct Platform {
    AdvertisingIdentity *advertisingIdentity = nullptr;
    BackgroundTasks *backgroundTasks = nullptr;
    Clock *clock = nullptr;
    CurrentDevice *currentDevice = nullptr;
    HTTPSession *httpSession = nullptr;
    InterceptionGuard *interceptionGuard = nullptr;
    MainBundle *mainBundle = nullptr;
    NotificationCenter *notificationCenter = nullptr;
    Preferences *preferences = nullptr;
    RunLoops *runLoops = nullptr;
    SerialQueues *serialQueues = nullptr;
    SystemLog *systemLog = nullptr;
    /// Whether a delivered post leaves the consent events that were stored while it was under way.
    bool keepUnsent = false;
};

/// The installed platform. Installed once before the start call and never taken away, so that
/// nothing that still runs at the process's end can find it gone.
const Platform &platform();
/// Replaces the platform; only while nothing uses it (before the start call, between tests).
void installPlatform(const Platform &services);

} // namespace vmr
