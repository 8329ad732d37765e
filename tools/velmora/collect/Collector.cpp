#include "collect/Collector.h"

#include "collect/Intake.h"
#include "collect/Keys.h"
#include "collect/ListenSocket.h"
#include "collect/StatusServer.h"
#include "ingest/HeaderCheck.h"
#include "ingest/JsonText.h"

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <thread>

namespace velmora::collect {
namespace {

constexpr std::chrono::milliseconds betweenLooks{20};
/// What the allocator takes from the system by itself, and gives back as soon as it is free.
constexpr int largeAllocation = 4 << 20;

sigset_t blockedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr); // every thread inherits it
    std::signal(SIGPIPE, SIG_IGN);
    return signals;
}

/// As many connections as descriptors allow, with some left for the sink, the quarantine and
/// /healthz.
std::size_t connectionsThatFit(std::size_t wanted) {
    constexpr std::size_t own = 200;
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    const std::size_t most = limit.rlim_cur;
    return std::min(wanted, most - std::min(own, most / 2));
}

void judgeHead(Exchange &exchange, const Keys &keys) {
    const auto kind = ingest::kindOfTarget(exchange.request.target);
    if (!kind)
        return exchange.decide(404, "address is neither /1.0/consents nor /devices_errors");
    if (exchange.request.method != "POST")
        return exchange.decide(405, "method is " + ingest::inQuotes(exchange.request.method) +
                                        " instead of POST");
    exchange.kind = *kind;
    if (std::string why = keys.refusalOf(exchange.request, *kind); !why.empty())
        exchange.decide(401, std::move(why));
}

void tellRefused(EventLog &log, const Exchange &exchange) {
    log.writeBounded("refused", {{"answer", exchange.status()},
                                 {"peer", exchange.peer},
                                 {"path", ingest::inQuotes(exchange.request.target)},
                                 {"why", exchange.why()}});
}

void warnOfOpenKeys(const Keys &keys, const std::string &path, EventLog &log) {
    if (keys.isOpenToAll())
        log.write("keys-open", {{"why", "--keys: everybody on this machine can read the secrets in "
                                        "\"" +
                                            path + "\"; say chmod o-r"}});
}

void reload(Keys &keys, const std::string &path, EventLog &log) {
    try {
        keys.reload();
        log.write("keys-read", {{"keys", keys.count()}});
        warnOfOpenKeys(keys, path, log);
    } catch (const std::exception &trouble) {
        log.write("keys-kept", {{"keys", keys.count()}, {"why", trouble.what()}});
    }
}

/// Until one that ends the process.
int serveSignals(const sigset_t &signals, Keys &keys, const std::string &path, EventLog &log) {
    for (;;) {
        int signal = 0;
        sigwait(&signals, &signal);
        if (signal != SIGHUP)
            return signal;
        reload(keys, path, log);
    }
}

} // namespace

void runCollector(CollectorOptions options) {
    const sigset_t signals = blockedSignals();
    mallopt(M_MMAP_THRESHOLD, largeAllocation);
    options.http.connections = connectionsThatFit(options.http.connections);
    EventLog log;
    Metrics metrics;
    Keys keys(options.keys);
    const std::unique_ptr<Sink> sink = makeSink(options.sink);
    Quarantine quarantine(options.quarantine);

    const bool isTls = !options.http.certificate.empty();
    const std::optional<int> handedOver = socketFromManager();
    const int listening = handedOver ? *handedOver : listenAt(options.listen, "--listen");
    const int statusListening = listenAt(options.status, "--status");

    std::atomic<bool> isDraining{false};
    Intake intake(*sink, quarantine, log, metrics, options.http.memory,
                  std::max(1U, std::thread::hardware_concurrency()));
    const StatusServer status(statusListening, metrics,
                              [&] { return !isDraining && intake.isReady(); });
    HttpServer server(listening, std::move(options.http),
                      {[&](Exchange &exchange) { judgeHead(exchange, keys); },
                       [&](Exchange &exchange) { intake.take(exchange); },
                       [&](const Exchange &exchange) { tellRefused(log, exchange); }},
                      metrics);
    log.write("listening", {{"address", endpointOf(listening).url(isTls ? "https" : "http")},
                            {"status", options.status.url("http")},
                            {"keys", keys.count()},
                            {"sink", shownPlace(options.sink.place)}});
    warnOfOpenKeys(keys, options.keys, log);
    tellManager("READY=1");

    const int signal = serveSignals(signals, keys, options.keys, log);
    tellManager("STOPPING=1");
    log.write("ending", {{"signal", signal}, {"openRequests", metrics.openRequests.load()}});
    isDraining = true;
    server.drain();
    // Each has its deadline.
    while (metrics.openRequests > 0)
        std::this_thread::sleep_for(betweenLooks);
    log.write("ended", {{"answered", metrics.answers.front().load()},
                        {"events", metrics.eventsAdded.load()}});
}

} // namespace velmora::collect
