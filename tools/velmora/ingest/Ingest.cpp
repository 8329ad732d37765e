#include "CommandError.h"
#include "RealRange.h"
#include "SecretOption.h"
#include "Subcommands.h"
#include "ingest/Session.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <memory>

namespace velmora {
namespace {

using namespace ingest;

struct Arguments {
    std::string listen = "127.0.0.1:0";
    std::string apiKey;
    std::optional<std::string> secret;
    int status = 200;
    std::string body;
    double delay = 0;
    std::string certificate;
    std::string privateKey;
    std::string page = "127.0.0.1:0";
    bool noPage = false;
    std::size_t expected = 0;
    double timeout = 60;
    std::string recording;
    std::string replay;
};

constexpr const char *description =
    "A local ingest service for trying things out: takes every request, checks it, and writes a "
    "line about it";

constexpr const char *footer =
    R"(Writes one JSON line when it listens, {"listening":"http://127.0.0.1:8080/","page":"http://127.0.0.1:41234/"},
and one a request. Open the page in a browser to see the same, with consents in words.
  method, path   as received
  sound          true when nothing at all is wrong
  signature      "right", "not checked: ..." or what is wrong
  gzip, json     "sound" or what is wrong
  bytes          length of the body as received
  envelope       the entries beside "batch"
  items          the batch
  itemProblems   a list for each item of what is wrong with it
  problems       what is wrong with anything else
  answer         the status that the sender gets, also for a request that is wrong; 0: no answer
  cut            true when the body is longer than 2 MiB unpacked, and shown in part
A request that is refused has only method, path, sound, problems and answer: one that cannot be
parsed, is too long or too slow, and on a loopback address one that a web page sent. The bounds:
headers 256 KiB, body 32 MiB, 64 MiB unpacked, 200,000 JSON values, 64 connections, 20 seconds.

Commands on standard input change the answer while the service runs:
  answer STATUS | answer-body TEXT | delay SECONDS | quit
  fault NAME [next]   another answer by name, for the next request or from now on: 200, 401, 403,
                      500, 503, 204, redirect, slow, no-answer, cut-off, not-json, large
  clear               empties the page's list
The end of the input does not end the service; SIGINT, SIGTERM and quit do.

Example:
  export VELMORA_API_KEY=demo-key VELMORA_SECRET=demo-secret
  velmora ingest --listen 127.0.0.1:8080
  velmora run --ingest http://127.0.0.1:8080/
)";

constexpr double longestTimeout = 86400;

Endpoint pageEndpointFrom(const std::string &text) {
    Endpoint endpoint = endpointFrom(text, "--page");
    if (!endpoint.isLoopback())
        throw CommandError("--page: \"" + endpoint.address +
                           "\" is not a loopback address; the page shows requests in clear and "
                           "changes answers, so it is served to this machine alone, for instance "
                           "at 127.0.0.1:0");
    return endpoint;
}

[[noreturn]] void serve(const CLI::App &app, const Arguments &arguments) {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr); // the servers' threads inherit it
    std::signal(SIGTTIN, SIG_IGN);              // a service put into the background goes on

    SessionOptions options;
    options.server.endpoint = endpointFrom(arguments.listen, "--listen");
    options.server.certificate = arguments.certificate;
    options.server.privateKey = arguments.privateKey;
    options.answer.status = arguments.status;
    options.answer.body = arguments.body;
    options.answer.delay = std::chrono::duration<double>(arguments.delay);
    if (app.count("--api-key") != 0)
        options.credentials.apiKey = arguments.apiKey;
    options.credentials.secret = arguments.secret;
    if (!arguments.noPage)
        options.page = pageEndpointFrom(arguments.page);
    if (app.count("--expect") != 0)
        options.expected = arguments.expected;
    options.timeout = arguments.timeout;
    options.recording = arguments.recording;
    options.replay = arguments.replay;
    runSession(options);
}

void addPageOptions(CLI::App &ingest, Arguments &arguments) {
    CLI::Option *page =
        ingest
            .add_option("--page", arguments.page,
                        "Loopback address and port of the page; port 0 is a free one (default "
                        "127.0.0.1:0)")
            ->type_name("ADDR:PORT");
    CLI::Option *noPage =
        ingest.add_flag("--no-page", arguments.noPage, "Serve no page")->excludes(page);
    CLI::Option *expect =
        ingest
            .add_option("--expect", arguments.expected,
                        "End when so many events of sound requests have come: status 0, or 1 "
                        "after --timeout")
            ->type_name("N")
            ->check(CLI::Range(1, 1'000'000));
    ingest.add_option("--timeout", arguments.timeout, "Seconds to wait with --expect (default 60)")
        ->type_name("SECONDS")
        ->check(realRange(0.0, longestTimeout))
        ->needs(expect);
    CLI::Option *record =
        ingest.add_option("--record", arguments.recording, "Keep every request in this new file")
            ->type_name("FILE");
    ingest
        .add_option("--replay", arguments.replay,
                    "Show this recording in the page, and take no requests")
        ->type_name("FILE")
        ->excludes(noPage, expect, record);
}

} // namespace

void addIngest(CLI::App &app) {
    CLI::App *ingest = app.add_subcommand("ingest", description);
    auto arguments = std::make_shared<Arguments>();
    ingest->footer(footer);
    ingest
        ->add_option("--listen", arguments->listen,
                     "Address and port to listen on; port 0 is a free one (default 127.0.0.1:0)")
        ->type_name("ADDR:PORT");
    ingest->add_option("--api-key", arguments->apiKey, "API key that requests must carry")
        ->type_name("KEY")
        ->envname("VELMORA_API_KEY");
    addSecretOptions(*ingest, arguments->secret,
                     "Secret that requests must be signed with; without it signatures made with a "
                     "secret are not checked");
    ingest->add_option("--answer", arguments->status, "Status to answer with (default 200)")
        ->type_name("STATUS")
        ->check(CLI::Range(lowestStatus, highestStatus));
    ingest->add_option("--answer-body", arguments->body, "Body to answer with (default empty)")
        ->type_name("TEXT");
    ingest->add_option("--delay", arguments->delay, "Seconds to wait before answering (default 0)")
        ->type_name("SECONDS")
        ->check(realRange(0.0, longestDelay));
    CLI::Option *certificate =
        ingest->add_option("--tls-cert", arguments->certificate, "Serve TLS with this certificate")
            ->type_name("FILE");
    CLI::Option *key =
        ingest->add_option("--tls-key", arguments->privateKey, "Private key of the certificate")
            ->type_name("FILE");
    certificate->needs(key);
    key->needs(certificate);
    addPageOptions(*ingest, *arguments);
    ingest->callback([ingest, arguments] { serve(*ingest, *arguments); });
}

} // namespace velmora
