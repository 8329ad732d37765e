/*
 * A service of systemd (velmora-example.service): it says when it is ready, feeds the watchdog from
 * the loop that the SDK runs in, and ends in order. The consent strings come from other programs:
 *
 *   velmora prefs set IABTCF_TCString CPc... --store /var/lib/velmora-example/preferences.db
 *
 *   g++ -std=c++17 -I../../bindings/systemd main.cpp $(pkg-config --cflags --libs velmorakit) \
 *       -Wl,-rpath,$(pkg-config --variable=libdir velmorakit)
 */

#include <VelmoraKit/VelmoraKit.h>

#include <ServiceManager.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>

#include <csignal>
#include <cstdint>
#include <iostream>

using VelmoraKit::Velmora;

namespace {

bool startVelmora() {
    VelmoraKit::Options options;
    options.bundleIdentifier = "com.example.service";
    options.appVersion = "1.0";
    // A string may be set at any time, also while a post is under way.
    options.keepUnsent = true;
    options.ingestBaseAddress = std::getenv("VELMORA_INGEST");
    options.storePath = std::getenv("VELMORA_STORE");
    VelmoraKit::Result result = Velmora::configure(options);
    if (result)
        result =
            Velmora::initWithApiKey(std::getenv("VELMORA_API_KEY"), std::getenv("VELMORA_SECRET"));
    if (!result)
        std::cerr << "VelmoraKit: " << result.message() << '\n';
    return static_cast<bool>(result);
}

int terminationSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

int timer(long microseconds) {
    itimerspec times{};
    times.it_interval.tv_sec = microseconds / 1000000;
    times.it_interval.tv_nsec = microseconds % 1000000 * 1000;
    times.it_value = times.it_interval;
    const int descriptor = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    timerfd_settime(descriptor, 0, &times, nullptr);
    return descriptor;
}

void watch(int epoll, int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event);
}

} // namespace

int main() {
    const int termination = terminationSignals(); // before the SDK has threads
    if (!startVelmora())
        return 1;
    Velmora &velmora = Velmora::sharedVelmora();
    const int sdk = velmora.mainRunLoop().descriptor();
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    watch(epoll, sdk);
    watch(epoll, termination);
    const auto interval = ServiceManager::watchdogInterval();
    const int watchdog = interval ? timer(*interval) : -1;
    if (interval)
        watch(epoll, watchdog);

    const ServiceManager manager;
    velmora.applicationWillEnterForeground(); // posts what an earlier run could not
    manager.isReady();
    for (;;) {
        epoll_event event{};
        if (epoll_wait(epoll, &event, 1, -1) < 0)
            continue; // interrupted by a signal
        if (event.data.fd == termination)
            break;
        if (event.data.fd == sdk) {
            velmora.mainRunLoop().process();
            continue;
        }
        std::uint64_t times = 0;
        if (read(watchdog, &times, sizeof times) > 0)
            manager.isAlive();
    }
    manager.isStopping();
    velmora.mainRunLoop().runUntilIdle(5); // whatever cannot be posted now is stored
    velmora.preferences().synchronize();
}
