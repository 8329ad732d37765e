#include "CommandError.h"
#include "JsonLine.h"
#include "RealRange.h"
#include "Subcommands.h"
#include "collect/Collector.h"
#include "collect/StoredEvents.h"

#include <CLI/CLI.hpp>
#include <sys/stat.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace velmora {
namespace {

using namespace collect;

struct Arguments {
    std::string listen = "127.0.0.1:0";
    std::string status = "127.0.0.1:0";
    SinkOptions sink;
    std::string keys;
    std::string quarantine;
    std::string certificate;
    std::string privateKey;
    std::size_t connections = 20'000;
    std::size_t memoryInMiB = 256;
    unsigned loops = 1;
    bool trustsForwarded = false;
    std::string database;
    std::string form = "ndjson";
    std::int64_t after = 0;
};

constexpr const char *description =
    "Receives and keeps events: answers 200 only when every event of a request is durable";

constexpr const char *footer =
    R"(Takes POST /1.0/consents and POST /devices_errors, and answers
  200  every event is in the sink, and durable; one that came before is there once
  400  it will never be right; it is kept in the quarantine
  401  the API key is none of --keys, or the token is wrong
  404, 405, 413   another address, another method, a body above 32 MiB
  503  the sink cannot take it just now; the device keeps its events
The file of --keys holds a line "KEY SECRET" for each API key; SIGHUP has it read again. SIGINT and
SIGTERM end the collector when every request that came has its answer.

Writes JSON lines: "listening" first, then what happens and what is refused. The server of --status
has /healthz, /readyz and /metrics (Prometheus). A socket that systemd hands over replaces --listen.

Bounds: headers 16 KiB, body 32 MiB, 64 MiB unpacked, 200,000 JSON values, 20 seconds for a
request, 60 for an idle connection; --connections and --memory.

Example:
  (umask 077; echo "demo-key demo-secret" > keys)
  velmora collect --to events.db --keys keys --listen 127.0.0.1:8080
  velmora collect stats events.db
  velmora collect export events.db --form csv > events.csv
)";

constexpr std::size_t mostConnections = 1'000'000;
constexpr std::size_t mostMemoryInMiB = std::size_t{1} << 20;
constexpr unsigned mostLoops = 64;

std::string textOf(const std::string &path, const char *option) {
    if (path.empty())
        return {};
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf()))
        throw std::runtime_error(std::string(option) + ": \"" + path + "\" cannot be read");
    return text.str();
}

void collectNow(const Arguments &arguments) {
    if (arguments.sink.place.empty() || arguments.keys.empty())
        throw CommandError("collect: give --to FILE, where events are kept, and --keys FILE, whose "
                           "are taken");
    ::umask(077); // nobody else on this machine reads what the devices send
    CollectorOptions options;
    options.listen = ingest::endpointFrom(arguments.listen, "--listen");
    options.status = ingest::endpointFrom(arguments.status, "--status");
    options.sink = arguments.sink;
    options.keys = arguments.keys;
    if (!arguments.quarantine.empty())
        options.quarantine = arguments.quarantine;
    else if (!isCluster(arguments.sink.place))
        options.quarantine = arguments.sink.place + ".quarantine";
    else
        throw CommandError("collect: give --quarantine FOLDER, where this machine keeps what will "
                           "never be right");
    options.http.connections = arguments.connections;
    options.http.memory = arguments.memoryInMiB << 20;
    options.http.loops = arguments.loops;
    options.http.trustsForwarded = arguments.trustsForwarded;
    options.http.certificate = textOf(arguments.certificate, "--tls-cert");
    options.http.privateKey = textOf(arguments.privateKey, "--tls-key");
    runCollector(std::move(options));
}

void addServerOptions(CLI::App &collect, Arguments &arguments) {
    collect
        .add_option("--listen", arguments.listen,
                    "Address and port to listen on; port 0 is a free one (default 127.0.0.1:0)")
        ->type_name("ADDR:PORT");
    collect
        .add_option("--status", arguments.status,
                    "Address and port of /healthz, /readyz and /metrics (default 127.0.0.1:0)")
        ->type_name("ADDR:PORT");
    CLI::Option *certificate =
        collect.add_option("--tls-cert", arguments.certificate, "Serve TLS with this certificate")
            ->type_name("FILE");
    CLI::Option *key =
        collect.add_option("--tls-key", arguments.privateKey, "Private key of the certificate")
            ->type_name("FILE");
    certificate->needs(key);
    key->needs(certificate);
    collect
        .add_option("--connections", arguments.connections,
                    "Connections at a time (default 20000, and no more than descriptors allow)")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, mostConnections));
    collect
        .add_option("--memory", arguments.memoryInMiB,
                    "MiB of bodies at a time, received and unpacked; above it requests get 503 "
                    "(default 256)")
        ->type_name("MIB")
        ->check(CLI::Range(std::size_t{1}, mostMemoryInMiB));
    collect.add_option("--loops", arguments.loops, "Threads that serve connections (default 1)")
        ->type_name("N")
        ->check(CLI::Range(1U, mostLoops));
    collect.add_flag("--trust-forwarded", arguments.trustsForwarded,
                     "A proxy is in front: the peer is the last one of X-Forwarded-For");
}

void addReaders(CLI::App &collect, const std::shared_ptr<Arguments> &arguments) {
    CLI::App *stats = collect.add_subcommand("stats", "Says what an SQLite file holds, as JSON");
    stats->add_option("FILE", arguments->database, "File of --to")->required();
    stats->callback([arguments] { writeLine(statsOf(arguments->database)); });

    CLI::App *exports =
        collect.add_subcommand("export", "Writes the events of an SQLite file, oldest first");
    exports->add_option("FILE", arguments->database, "File of --to")->required();
    exports->add_option("--form", arguments->form, "ndjson (default) or csv")
        ->type_name("FORM")
        ->check(CLI::IsMember({"ndjson", "csv"}));
    exports
        ->add_option("--after", arguments->after,
                     "Only events after this row, the last one of an earlier export")
        ->type_name("ROW")
        ->check(CLI::NonNegativeNumber);
    exports->callback([arguments] {
        exportEvents(arguments->database,
                     arguments->form == "csv" ? ExportForm::csv : ExportForm::ndjson,
                     arguments->after, stdout);
    });
}

} // namespace

void addCollect(CLI::App &app) {
    CLI::App *collect = app.add_subcommand("collect", description);
    auto arguments = std::make_shared<Arguments>();
    collect->require_subcommand(0, 1);
    collect
        ->add_option("--to", arguments->sink.place,
                     "Where events are kept: an SQLite file, or nats://HOST:PORT, several with "
                     "commas, of a cluster")
        ->type_name("SINK");
    collect
        ->add_option("--replicas", arguments->sink.replicas,
                     "Nodes that keep each event of a stream that is made now (default 3)")
        ->type_name("N")
        ->check(CLI::Range(1, 5));
    collect
        ->add_option("--window", arguments->sink.windowInHours,
                     "Hours in which such a stream knows an event again (default 168)")
        ->type_name("HOURS")
        ->check(realRange(0.01, 8760.0));
    collect
        ->add_option("--keys", arguments->keys, "File with a line \"KEY SECRET\" for each API key")
        ->type_name("FILE");
    collect
        ->add_option("--quarantine", arguments->quarantine,
                     "Folder for requests that will never be right (default SINK.quarantine)")
        ->type_name("FOLDER");
    addServerOptions(*collect, *arguments);
    addReaders(*collect, arguments);
    collect->footer(footer); // after the readers, which would show it, too
    collect->callback([collect, arguments] {
        if (collect->get_subcommands().empty())
            collectNow(*arguments);
    });
}

} // namespace velmora
