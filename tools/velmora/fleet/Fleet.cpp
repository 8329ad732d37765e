#include "CommandError.h"
#include "JsonLine.h"
#include "RealRange.h"
#include "SecretOption.h"
#include "Subcommands.h"
#include "fleet/Report.h"
#include "fleet/Simulation.h"
#include "ingest/Endpoint.h"

#include <CLI/CLI.hpp>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>

namespace velmora {
namespace {

using namespace fleet;

struct Arguments {
    SimulationOptions simulation;
    std::optional<std::string> secret;
    std::string profile = "set-top";
    double changes = -1;
    std::string outage;
    std::string allowed;
    std::string page;
    std::string json;
    std::string acknowledged;
};

constexpr const char *description =
    "Simulates devices by the hundred thousand that send exactly what the SDK sends";

constexpr const char *footer =
    R"(Each device changes consents at random and comes back to the foreground; with both it posts what
waits, once, as the SDK does. Ends with the figures as one JSON line; --report writes them as a page
with pictures, --figures as a file. Only a loopback address is tried, or the host that --allow names.
SIGINT ends the simulation early. The exit status is 1 when an event was lost: one that its device
neither keeps nor saw accepted. Whether the collector has what it accepted, a comparison of its
export with the file of --acknowledged tells.

Example:
  velmora collect --to events.db --keys keys --listen 127.0.0.1:8080
  velmora fleet --ingest http://127.0.0.1:8080/ --api-key demo-key --secret-file secret \
      --devices 10000 --outage 8,10 --report fleet.html
)";

constexpr std::uint32_t mostDevices = 10'000'000;
constexpr double longestDays = 366;
constexpr std::size_t mostConnections = 10'000;

volatile std::sig_atomic_t isInterrupted = 0;

std::string hostOf(const std::string &address) {
    const std::unique_ptr<CURLU, void (*)(CURLU *)> url(curl_url(), &curl_url_cleanup);
    char *host = nullptr;
    if (curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK ||
        curl_url_get(url.get(), CURLUPART_HOST, &host, 0) != CURLUE_OK)
        throw CommandError("--ingest: \"" + address +
                           "\" is not an address; one looks like http://127.0.0.1:8080/");
    const std::unique_ptr<char, void (*)(void *)> owned(host, &curl_free);
    return host;
}

void refuseStrangers(const Arguments &arguments) {
    const std::string host = hostOf(arguments.simulation.address);
    if (!ingest::namesLoopback(host) && host != arguments.allowed)
        throw CommandError("--ingest: \"" + host +
                           "\" is not this machine; when it is yours, say "
                           "so with --allow " +
                           host);
}

Span outageFrom(const std::string &text) {
    double from = 0;
    double to = 0;
    char end = 0;
    if (std::sscanf(text.c_str(), "%lf,%lf%c", &from, &to, &end) != 2 || !(from >= 0 && from < to))
        throw CommandError("--outage: \"" + text +
                           "\" is not FROM,TO in hours since the start, for instance 8,10");
    return {from, to};
}

void writeFile(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary);
    if (path.empty() || (file << text).flush())
        return;
    throw std::runtime_error("\"" + path + "\" cannot be written; name another file");
}

/// On a terminal one line that changes.
void showProgress(const Simulation &simulation, double seconds) {
    constexpr int length = 30;
    const double part = simulation.progress();
    const int full = static_cast<int>(part * length);
    std::fprintf(stderr, "\r[%.*s%.*s] %3.0f %%  %llu requests, %.0f a second, %llu waiting \033[K",
                 full, "##############################", length - full,
                 "..............................", part * 100,
                 static_cast<unsigned long long>(simulation.figures().requests()),
                 static_cast<double>(simulation.figures().requests()) / seconds,
                 static_cast<unsigned long long>(simulation.waiting()));
}

double runToEnd(Simulation &simulation) {
    using Clock = std::chrono::steady_clock;
    std::signal(SIGINT, [](int) { isInterrupted = 1; });
    const bool isShown = isatty(STDERR_FILENO) == 1;
    const Clock::time_point begin = Clock::now();
    const auto elapsed = [&] {
        return std::chrono::duration<double>(Clock::now() - begin).count();
    };
    double shown = 0;
    while (simulation.step()) {
        if (isInterrupted != 0)
            simulation.stop();
        if (isShown && elapsed() - shown > 0.2) {
            shown = elapsed();
            showProgress(simulation, shown);
        }
    }
    if (isShown)
        std::fputs("\r\033[K", stderr);
    return elapsed();
}

void runFleet(Arguments arguments) {
    refuseStrangers(arguments);
    SimulationOptions &options = arguments.simulation;
    if (!arguments.secret)
        throw CommandError(
            "the secret is missing: give --secret-file or the variable VELMORA_SECRET");
    options.secret = *arguments.secret;
    options.profile = *profileNamed(arguments.profile);
    if (arguments.changes >= 0)
        options.profile.changes = arguments.changes;
    if (!arguments.outage.empty())
        options.outage = outageFrom(arguments.outage);
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> acknowledged(
        arguments.acknowledged.empty() ? nullptr : std::fopen(arguments.acknowledged.c_str(), "ae"),
        [](std::FILE *file) { return std::fclose(file); });
    if (!arguments.acknowledged.empty() && !acknowledged)
        throw std::runtime_error("--acknowledged: \"" + arguments.acknowledged +
                                 "\" cannot be written");
    options.acknowledged = acknowledged.get();

    writeFile(arguments.page, ""); // known to be possible before the hours of a simulation
    writeFile(arguments.json, "");

    const std::uint32_t devices = options.devices;
    const std::optional<Span> outage = options.outage;
    Simulation simulation(std::move(options));
    const double took = runToEnd(simulation);
    nlohmann::ordered_json figures =
        simulation.figures().asJson(devices, took, simulation.waiting(), outage);
    figures["profile"] = arguments.profile;
    writeFile(arguments.page, pageOf(figures));
    writeFile(arguments.json, figures.dump(1) + "\n");
    const bool isLost = figures["eventsLost"] != 0;
    figures.erase("curve");
    writeLine(figures);
    if (isLost)
        throw CLI::RuntimeError(1);
}

void addTarget(CLI::App &app, Arguments &arguments) {
    SimulationOptions &options = arguments.simulation;
    app.add_option("--ingest", options.address,
                   "Base address of the service, with \"/\" at its end")
        ->type_name("ADDRESS")
        ->required();
    app.add_option("--api-key", options.apiKey, "API key of the application")
        ->type_name("KEY")
        ->envname("VELMORA_API_KEY")
        ->required();
    addSecretOptions(app, arguments.secret, "Secret of the application");
    app.add_option("--allow", arguments.allowed, "A host other than this machine, which is yours")
        ->type_name("HOST");
    app.add_option("--ca-file", options.certificates,
                   "Certificates to trust instead of the system's")
        ->type_name("FILE");
    app.add_option("--connections", options.connections, "Requests at a time (default 64)")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, mostConnections));
}

} // namespace

void addFleet(CLI::App &app) {
    CLI::App *fleet = app.add_subcommand("fleet", description);
    auto arguments = std::make_shared<Arguments>();
    SimulationOptions &options = arguments->simulation;
    fleet->footer(footer);
    addTarget(*fleet, *arguments);
    fleet->add_option("--devices", options.devices, "How many (default 1000)")
        ->type_name("N")
        ->check(CLI::Range(1U, mostDevices));
    fleet->add_option("--profile", arguments->profile, "kiosk, set-top (default) or car")
        ->type_name("NAME")
        ->check(CLI::IsMember({"kiosk", "set-top", "car"}));
    fleet
        ->add_option("--changes-per-day", arguments->changes,
                     "Of each device (default: the profile's)")
        ->type_name("N")
        ->check(realRange(0.0, 10'000.0));
    fleet->add_option("--days", options.days, "Simulated days, from midnight on (default 1)")
        ->type_name("N")
        ->check(realRange(0.001, longestDays));
    fleet
        ->add_option("--speed-up", options.speedUp,
                     "Simulated seconds in a second (default 1440: a day in a minute)")
        ->type_name("N")
        ->check(realRange(1.0, 1e9));
    fleet
        ->add_option("--outage", arguments->outage,
                     "Simulated hours in which no device has a network")
        ->type_name("FROM,TO");
    fleet->add_option("--seed", options.seed, "Other numbers, other days (default 1)")
        ->type_name("N");
    fleet->add_option("--report", arguments->page, "Write the figures as a page")
        ->type_name("FILE");
    fleet->add_option("--figures", arguments->json, "Write the figures, with their curve")
        ->type_name("FILE");
    fleet
        ->add_option("--acknowledged", arguments->acknowledged,
                     "Write the identifier of each event that was answered with 200 to the end of "
                     "this file")
        ->type_name("FILE");
    fleet->callback([arguments] { runFleet(*arguments); });
}

} // namespace velmora
