#include "SecretOption.h"
#include "Subcommands.h"
#include "run/CommandLoop.h"
#include "run/Commands.h"

#include <CLI/CLI.hpp>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

namespace velmora {
namespace {

struct RunOptions {
    std::optional<std::string> apiKey, secret, ingest, store, bundleId, appVersion, systemVersion;
    std::optional<std::string> idfa, idfv, certificateAuthorityFile, pinnedPublicKey;
    std::vector<std::string> info;
    std::uint32_t trackingStatus = 0;
    bool legacyTracking = false;
    bool allowProxy = false;
    bool keepUnsent = false;
    bool sharedFolder = false;
    bool noStart = false;
};

[[noreturn]] void fail(const std::string &message) {
    std::fprintf(stderr, "velmora run: %s\n", message.c_str());
    throw CLI::RuntimeError(usageError);
}

/// The library's message with the program's options in place of the library's.
std::string inOptions(std::string message) {
    static constexpr std::pair<std::string_view, std::string_view> options[] = {
        {"\"store_path\"", "--store"},
        {"\"bundle_identifier\"", "--bundle-id"},
        {"\"app_version\"", "--app-version"},
        {"\"information_dictionary\"", "--info"},
        {"\"ingest_base_address\"", "--ingest"},
        {"\"system_version\"", "--system-version"},
        {"\"identifier_for_vendor\"", "--idfv"},
        {"\"advertising_identifier\"", "--idfa"},
        {"\"certificate_authority_file\"", "--ca-file"},
        {"\"pinned_public_key\"", "--pinned-key"},
        {"\"api_key\"", "--api-key"},
        {"\"secret\"", "--secret"},
    };
    for (const auto &[library, program] : options)
        if (const std::size_t at = message.find(library); at != std::string::npos)
            message.replace(at, library.size(), program);
    return message;
}

/// The entries "KEY=JSON" as one JSON object; nothing without any.
std::optional<std::string> informationDictionary(const std::vector<std::string> &entries) {
    if (entries.empty())
        return std::nullopt;
    nlohmann::json dictionary = nlohmann::json::object();
    for (const std::string &entry : entries) {
        const std::size_t equals = entry.find('=');
        if (equals == std::string::npos || equals == 0)
            fail("--info " + entry + " is not KEY=JSON");
        const std::string json = entry.substr(equals + 1);
        if (!nlohmann::json::accept(json))
            fail("--info " + entry + ": what follows \"=\" is not JSON; texts need quotes");
        dictionary[entry.substr(0, equals)] = nlohmann::json::parse(json);
    }
    return dictionary.dump();
}

VelmoraKit::Options hostOptions(const RunOptions &given) {
    VelmoraKit::Options options;
    options.storePath = given.store;
    options.bundleIdentifier = given.bundleId;
    options.appVersion = given.appVersion;
    options.informationDictionary = informationDictionary(given.info);
    options.ingestBaseAddress = given.ingest;
    options.systemVersion = given.systemVersion;
    options.identifierForVendor = given.idfv;
    options.advertisingIdentifier = given.idfa;
    options.trackingStatus = given.trackingStatus;
    options.legacyTracking = given.legacyTracking;
    options.certificateAuthorityFile = given.certificateAuthorityFile;
    options.pinnedPublicKey = given.pinnedPublicKey;
    options.allowProxy = given.allowProxy;
    options.keepUnsent = given.keepUnsent;
    options.sharedFolder = given.sharedFolder;
    return options;
}

/// Ctrl-C ends the program as ever, but not without a word.
void endWithAWord(int signal) {
    constexpr std::string_view words =
        "\nvelmora run: interrupted; events that wait stay in the store\n";
    static_cast<void>(!write(STDERR_FILENO, words.data(), words.size()));
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void requireUsableAddress() {
    const std::string diagnosis = VelmoraKit::Velmora::sharedVelmora().diagnose();
    const auto refusal = nlohmann::json::parse(diagnosis)["ingest"]["refusal"];
    if (refusal.is_string())
        fail("--ingest: " + refusal.get<std::string>());
}

void run(const RunOptions &given) {
    if (std::signal(SIGINT, endWithAWord) == SIG_IGN)
        std::signal(SIGINT, SIG_IGN);
    if (const auto result = VelmoraKit::Velmora::configure(hostOptions(given)); !result)
        fail(inOptions(result.message()));
    if (given.ingest)
        requireUsableAddress();
    const Commands commands(given.apiKey, given.secret);
    if (!given.noStart)
        if (const auto result = commands.start(); !result)
            fail(inOptions(result.message()));
    runCommandLoop(commands);
}

constexpr const char *help = R"(Commands, a line each; each is answered by a line of JSON:
  set KEY TEXT            writes the rest of the line as a string, on the main thread
  put KEY TYPE VALUE      TYPE: string, integer, real, boolean (true, false), date (seconds
                          since 1970), data (hexadecimal), json
  set-on-thread KEY TEXT  set from a fresh thread that has no run loop
  remove KEY, get KEY     removes; shows the value as JSON, null when there is none
  foreground              the application comes back to the foreground
  start                   makes the start call (again)
  device-response JSON    hands over a device response
  device-update           runs the device job
  wait SECONDS            lets the main loop run that long
  settle SECONDS          lets it run until nothing is outstanding, at most that long
  status                  what is stored and what was sent
  erase                   stops the SDK and removes all that it keeps
  help                    names the commands
  quit                    ends the program, as the end of the input does

Example:
  printf '%s\n' 'set IABTCF_TCString CPc-demo' 'settle 10' status |
      VELMORA_SECRET=demo velmora run --api-key demo --store ~/velmora.db \
                  --ingest http://127.0.0.1:8080/)";

} // namespace

void addRun(CLI::App &app) {
    CLI::App *command = app.add_subcommand(
        "run", "Plays a host application: starts the SDK and takes commands on standard input");
    const auto given = std::make_shared<RunOptions>();
    command->add_option("--api-key", given->apiKey, "The API key")->envname("VELMORA_API_KEY");
    addSecretOptions(*command, given->secret, "The secret");
    command->add_option("--ingest", given->ingest, "Base address of the ingest service");
    command->add_option("--store", given->store, "Preferences file; created where missing");
    command->add_option("--bundle-id", given->bundleId, "The application's bundle identifier");
    command->add_option("--app-version", given->appVersion, "The application's version");
    command->add_option("--system-version", given->systemVersion,
                        "Instead of the system's own; from 14 on --tracking-status counts");
    command
        ->add_option("--info", given->info,
                     "KEY=JSON, an entry of the information dictionary; repeatable")
        ->allow_extra_args(false);
    command->add_option("--idfa", given->idfa, "Advertising identifier, a UUID");
    command->add_option("--idfv", given->idfv, "Identifier for vendor, a UUID");
    command
        ->add_option("--tracking-status", given->trackingStatus,
                     "0 not determined, 1 restricted, 2 denied, 3 authorised; has no effect "
                     "below system version 14: give --system-version too")
        ->check(CLI::Range(0, 3));
    command->add_option("--legacy-tracking", given->legacyTracking,
                        "true or false: whether tracking is allowed below system version 14");
    command->add_option("--ca-file", given->certificateAuthorityFile,
                        "PEM file of the authorities to trust instead of the system's");
    command->add_option("--pinned-key", given->pinnedPublicKey,
                        "The service's public key: sha256// and the base64 digest");
    command->add_flag("--allow-proxy", given->allowProxy, "Posts may go through a proxy");
    command->add_flag("--shared-folder", given->sharedFolder,
                      "Takes a store where other users can write");
    command->add_flag("--keep-unsent", given->keepUnsent,
                      "A delivered post removes only the events that it carried");
    command->add_flag("--no-start", given->noStart,
                      "Leaves the start call to the command \"start\"");
    command->footer(help);
    command->callback([given] { run(*given); });
}

} // namespace velmora
