#include "JsonLine.h"
#include "SecretOption.h"
#include "Subcommands.h"
#include "Text.h"
#include "doctor/Checks.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>

namespace velmora {
namespace {

using namespace doctor;

constexpr const char *severityNames[] = {"ok", "warning", "error"};

constexpr const char *footer =
    R"(Run it as the application's user, in its environment. Nothing that is stored is changed and
nothing is posted; the service's name is looked up, and with --connect a HEAD request without
credentials is made.

Each finding is a line with its remedy; with --json a JSON object with "id", "severity" ("ok",
"warning", "error"), "message" and "remedy". The exit status is the worst finding: 0 fine,
1 warning, 2 error (also for arguments that make no sense).

Example:
  velmora doctor --bundle-id com.example.app --app-version 1.2 --connect
)";

void writeText(const Finding &finding) {
    const std::string text =
        finding.message + (finding.remedy.empty() ? "" : "; " + finding.remedy);
    // What comes from outside must not look like another line or column.
    std::printf("%s\t%s\t%s\n", severityNames[static_cast<int>(finding.severity)],
                finding.id.c_str(), visible(text).c_str());
}

void writeJson(const Finding &finding) {
    writeLine({{"id", finding.id},
               {"severity", severityNames[static_cast<int>(finding.severity)]},
               {"message", finding.message},
               {"remedy", finding.remedy.empty() ? nlohmann::ordered_json()
                                                 : nlohmann::ordered_json(finding.remedy)}});
}

Findings runChecks(const Given &given) {
    Findings findings;
    const std::optional<Subject> subject = examine(given, findings);
    if (!subject)
        return findings;
    for (const Check &check : checks) {
        try {
            check.run(*subject, findings);
        } catch (const std::exception &problem) {
            findings.warn(check.name, std::string("this could not be checked: ") + problem.what(),
                          "run the check as the application's user");
        }
    }
    return findings;
}

void run(const Given &given, bool isJson) {
    const Findings findings = runChecks(given);
    int worst = 0;
    for (const Finding &finding : findings.all()) {
        isJson ? writeJson(finding) : writeText(finding);
        worst = std::max(worst, static_cast<int>(finding.severity));
    }
    if (worst != 0)
        throw CLI::RuntimeError(worst);
}

} // namespace

void addDoctor(CLI::App &app) {
    CLI::App *command = app.add_subcommand(
        "doctor", "Checks what commonly goes wrong, and says what to do about it");
    const auto given = std::make_shared<Given>();
    const auto isJson = std::make_shared<bool>(false);
    command->add_flag("--json", *isJson, "A line of JSON for each finding");
    command->add_flag("--connect", given->connect,
                      "Connects to the service: certificate, protocol, its clock");
    command
        ->add_option("--store", given->store, "The preferences file, if the application names it")
        ->type_name("FILE");
    command->add_option("--info-file", given->infoFile, "The application's Info.json")
        ->type_name("FILE");
    command->add_option("--ingest", given->ingest, "Base address of the ingest service");
    command->add_option("--bundle-id", given->bundleId, "The application's bundle identifier");
    command->add_option("--app-version", given->appVersion, "The application's version");
    command->add_option("--api-key", given->apiKey, "The API key")->envname("VELMORA_API_KEY");
    addSecretOptions(*command, given->secret, "The secret");
    command
        ->add_option("--ca-file", given->certificateAuthorityFile,
                     "PEM file of the authorities to trust instead of the system's")
        ->type_name("FILE");
    command->add_option("--pinned-key", given->pinnedPublicKey,
                        "The service's public key: sha256// and the base64 digest");
    command->add_option("--system-version", given->systemVersion,
                        "The system version that the application gives");
    command->add_option("--tracking-status", given->trackingStatus, "What the application gives")
        ->check(CLI::Range(0, 3));
    command->add_option("--legacy-tracking", given->legacyTracking, "What the application gives");
    command->add_flag("--shared-folder", given->sharedFolder,
                      "The store may lie where other users can write");
    command->add_flag("--allow-proxy", given->allowProxy, "Posts may go through a proxy");
    command->footer(footer);
    command->callback([given, isJson] { run(*given, *isJson); });
}

} // namespace velmora
