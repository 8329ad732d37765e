#include "JsonLine.h"
#include "Subcommand.h"
#include "Subcommands.h"
#include "ingest/Answers.h"
#include "ingest/Commands.h"
#include "ingest/Server.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <memory>

namespace velmora {
namespace {

using namespace ingest;

struct Arguments {
    std::string listen = "127.0.0.1:0";
    std::string apiKey;
    std::string secret;
    int status = 200;
    std::string body;
    double delay = 0;
    std::string certificate;
    std::string privateKey;
};

constexpr const char *description =
    "A local ingest service for trying things out: takes every request, checks it, and writes a "
    "line about it";

constexpr const char *footer =
    R"(Writes one JSON line when it listens, {"listening":"http://127.0.0.1:8080/"}, and one a request:
  method, path   as received
  sound          true when nothing at all is wrong
  signature      "right", "not checked: ..." or what is wrong
  gzip, json     "sound" or what is wrong
  bytes          length of the body as received
  envelope       the entries beside "batch"
  items          the batch
  itemProblems   a list for each item of what is wrong with it
  problems       what is wrong with anything else
  answer         the status that the sender gets, also for a request that is wrong
A request that cannot be read has only method, path, sound, problems and answer.

Commands on standard input change the answer while the service runs:
  answer STATUS | answer-body TEXT | delay SECONDS | quit
The end of the input does not end the service; SIGINT, SIGTERM and quit do.

Example:
  velmora ingest --listen 127.0.0.1:8080 --api-key demo-key --secret demo-secret
  velmora run --ingest http://127.0.0.1:8080/ --api-key demo-key --secret demo-secret
)";

/// "nan" lies in every range.
std::string refuseNoNumber(const std::string &text) {
    return text.find_first_of("nN") == std::string::npos ? "" : "\"" + text + "\" is no number";
}

/// ADDR:PORT, [ADDR]:PORT; throws CLI::ValidationError.
void parseListen(const std::string &text, ServerOptions &options) {
    const CLI::ValidationError refusal("--listen", "\"" + text +
                                                       "\" is not ADDR:PORT, for instance "
                                                       "127.0.0.1:8080 or [::1]:0");
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0)
        throw refusal;
    options.address = text.substr(0, colon);
    if (options.address.starts_with('[') && options.address.ends_with(']'))
        options.address = options.address.substr(1, options.address.size() - 2);
    else if (options.address.find(':') != std::string::npos)
        throw refusal;
    const char *end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data() + colon + 1, end, options.port);
    if (parsed.ec != std::errc() || parsed.ptr != end || options.port < 0 || options.port > 65535)
        throw refusal;
}

[[noreturn]] void serve(const CLI::App &app, const Arguments &arguments) {
    ServerOptions options;
    parseListen(arguments.listen, options);
    if (app.count("--api-key") != 0)
        options.credentials.apiKey = arguments.apiKey;
    if (app.count("--secret") != 0)
        options.credentials.secret = arguments.secret;
    options.certificate = arguments.certificate;
    options.privateKey = arguments.privateKey;

    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr); // the server's threads inherit it
    std::signal(SIGTTIN, SIG_IGN);              // a service put into the background goes on

    Answers answers(
        {arguments.status, arguments.body, std::chrono::duration<double>(arguments.delay)});
    Server server(std::move(options), answers);
    writeLine({{"listening", server.start()}});
    serveCommands(answers);
    // Every line is flushed, so nothing is lost by not waiting for open connections.
    std::_Exit(0);
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
    ingest
        ->add_option("--secret", arguments->secret,
                     "Secret that requests must be signed with; without it signatures made with a "
                     "secret are not checked")
        ->type_name("SECRET")
        ->envname("VELMORA_SECRET");
    ingest->add_option("--answer", arguments->status, "Status to answer with (default 200)")
        ->type_name("STATUS")
        ->check(CLI::Range(lowestStatus, highestStatus));
    ingest->add_option("--answer-body", arguments->body, "Body to answer with (default empty)")
        ->type_name("TEXT");
    ingest->add_option("--delay", arguments->delay, "Seconds to wait before answering (default 0)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, longestDelay) & CLI::Validator(refuseNoNumber, ""));
    CLI::Option *certificate =
        ingest->add_option("--tls-cert", arguments->certificate, "Serve TLS with this certificate")
            ->type_name("FILE");
    CLI::Option *key =
        ingest->add_option("--tls-key", arguments->privateKey, "Private key of the certificate")
            ->type_name("FILE");
    certificate->needs(key);
    key->needs(certificate);
    ingest->callback([ingest, arguments] { serve(*ingest, *arguments); });
}

} // namespace velmora
