// The collector beside the raw limit: what a request costs in processor time, how long it waits at
// half load, and what is resident, also after very many requests.
// Usage: velmora_collect_bench VELMORA [REQUESTS [VERY_MANY]]
#include "BareServer.h"
#include "Collector.h"
#include "Measure.h"
#include "RawCollector.h"
#include "fleet/SdkRequests.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {

using namespace bench;

constexpr double allowed = 1.5;
constexpr std::size_t connections = 64;
constexpr double firstDate = 1.77e9;
/// Twelve digits.
constexpr std::size_t firstDevice = 100'000'000'000;

std::vector<velmora::fleet::WireRequest> makeRequests(std::size_t count, std::size_t events,
                                                      std::size_t first = 0) {
    static velmora::fleet::SdkRequests sdk("http://127.0.0.1:9/", Collector::key,
                                           Collector::secret);
    std::vector<velmora::fleet::WireRequest> requests;
    for (std::size_t i = first; i < first + count; ++i) {
        const std::string device = "00000000-0000-4000-8000-" + std::to_string(firstDevice + i);
        std::vector<velmora::fleet::ConsentChange> changes;
        for (std::size_t event = 0; event < events; ++event)
            changes.push_back({firstDate + static_cast<double>(i * events + event),
                               consentString(static_cast<int>(i * events + event))});
        requests.push_back(sdk.make({device, device, true, device}, changes, firstDate));
    }
    return requests;
}

/// The processor time of a request in each round, in microseconds.
struct Costs {
    std::vector<double> ours, work, http;
};

/// Rounds in turn, so that the comparison stays fair while the machine's speed drifts.
void measure(const std::string &program, const std::string &self, const std::string &folder,
             std::size_t count, std::size_t events) {
    constexpr std::size_t rounds = 5;
    const std::string name = std::to_string(events) + "-event requests";
    const std::string place = folder + "/" + std::to_string(events);
    const Collector collector(program, place);
    const Collector http(self, place + ".http");
    Costs costs;
    std::vector<double> rates, ratios, ratiosOfSum;
    for (std::size_t round = 0; round < rounds; ++round) {
        const auto requests = makeRequests(count / rounds, events, round * (count / rounds));
        const auto inMicroseconds = [&](double seconds) {
            return 1e6 * seconds / static_cast<double>(requests.size());
        };
        double seconds = 0;
        const auto costOf = [&](const Collector &server) {
            const double before = server.processorSeconds();
            seconds = server.load(requests, connections, 0).seconds;
            return inMicroseconds(server.processorSeconds() - before);
        };
        std::vector<std::string> bodies;
        for (const auto &request : requests)
            bodies.push_back(request.body);
        costs.work.push_back(
            inMicroseconds(processorTimeOfRaw(place + ".raw", bodies, connections)));
        costs.http.push_back(costOf(http));
        costs.ours.push_back(costOf(collector));
        rates.push_back(static_cast<double>(requests.size()) / seconds);
        ratios.push_back(costs.ours.back() / costs.work.back());
        ratiosOfSum.push_back(costs.ours.back() / (costs.work.back() + costs.http.back()));
    }
    const double rate = median(rates);
    const double resident = collector.residentMiB();
    const Load half = Collector(program, place + ".half")
                          .load(makeRequests(count, events), connections, rate / 2);
    std::printf("%s: %.0f a second, processor time %.1f us a request, bare work %.1f us, bare HTTP "
                "%.1f us, resident %.0f MiB; at half load p50 %.1f ms, p99 %.1f ms\n",
                name.c_str(), rate, median(costs.ours), median(costs.work), median(costs.http),
                resident, half.millisecondsBelow(0.5), half.millisecondsBelow(0.99));
    printRatio(name + ", to bare work", median(ratios), allowed);
    printRatio(name + ", to bare work and bare HTTP", median(ratiosOfSum), 1);
    std::fflush(stdout);
}

/// Each request brings an event that is new.
void endure(const std::string &program, const std::string &folder, std::size_t count) {
    constexpr std::size_t steps = 50;
    const Collector collector(program, folder + "/many");
    for (std::size_t step = 1; step <= steps; ++step) {
        const std::size_t round = count / steps;
        collector.load(makeRequests(round, 1, step * round), connections, 0);
        if (step == 1 || step % (steps / 5) == 0)
            std::printf("after %zu requests: %.0f MiB resident\n", step * round,
                        collector.residentMiB());
        std::fflush(stdout);
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc > 1 && std::string_view(argv[1]) == "collect")
        return serveBare(); // a process of this program's own, in a collector's place
    if (argc < 2) {
        std::fprintf(stderr, "usage: velmora_collect_bench VELMORA [REQUESTS [VERY_MANY]]\n");
        return 2;
    }
    const std::size_t count = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 20'000;
    char folder[] = "/tmp/velmora-bench-XXXXXX";
    if (mkdtemp(folder) == nullptr)
        return 1;
    measure(argv[1], argv[0], folder, count, 1);
    measure(argv[1], argv[0], folder, std::max<std::size_t>(count / 200, 5), 1000);
    if (argc > 3)
        endure(argv[1], folder, std::strtoul(argv[3], nullptr, 10));
    std::filesystem::remove_all(folder);
}
