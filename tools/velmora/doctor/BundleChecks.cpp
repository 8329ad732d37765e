#include "doctor/Checks.h"

namespace velmora::doctor {
namespace {

// The store's default folder is named after it.
constexpr std::size_t longestIdentifier = 200;
constexpr const char *identifierCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-";

} // namespace

void checkBundle(const Subject &subject, Findings &findings) {
    const std::string identifier = textOf(subject.sdk["bundle"]["identifier"]);
    const std::string version = textOf(subject.sdk["bundle"]["version"]);
    if (identifier.empty())
        findings.fail("bundle.identifier",
                      "there is no bundle identifier: every request says "
                      "X-Bundle-Identifier: (null)",
                      "set bundle_identifier before the start call, or \"CFBundleIdentifier\" in "
                      "Info.json; tell it to this check with --bundle-id or --info-file");
    else if (identifier.size() > longestIdentifier)
        findings.warn("bundle.identifier",
                      "the bundle identifier has " + std::to_string(identifier.size()) +
                          " bytes; a store's folder name keeps " +
                          std::to_string(longestIdentifier),
                      "use a shorter one, or name the store's path");
    else if (identifier.find_first_not_of(identifierCharacters) != std::string::npos)
        findings.warn("bundle.identifier",
                      "the bundle identifier \"" + identifier +
                          "\" has characters other than letters, digits, \".\" and \"-\"",
                      "use the identifier for which the API key was issued");
    else
        findings.ok("bundle.identifier", "the bundle identifier is " + identifier);

    if (version.empty())
        findings.warn("bundle.version", "the application's version is unknown and is not sent",
                      "set app_version before the start call, or \"CFBundleShortVersionString\" "
                      "in Info.json; tell it to this check with --app-version or --info-file");
    else
        findings.ok("bundle.version", "the application's version is " + version);
}

void checkIdentifier(const Subject &subject, Findings &findings) {
    const nlohmann::json &identifier = subject.sdk["identifier"];
    const std::string used = "events are identified by the " + textOf(identifier["used"]) +
                             " identifier: " + textOf(identifier["reason"]);
    if (subject.given.trackingStatus == 3 && identifier["used"] != "advertising")
        findings.warn("identifier", used, "give system_version 14 or later with tracking_status 3");
    else
        findings.ok("identifier", used);
}

void checkLog(const Subject &subject, Findings &findings) {
    for (const std::string &line : subject.log)
        findings.warn("sdk.log", "the SDK says: " + line, "see docs/troubleshooting.md");
}

} // namespace velmora::doctor
