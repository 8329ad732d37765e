#include "doctor/Checks.h"

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <regex>

namespace velmora::doctor {
namespace {

namespace fs = std::filesystem;

constexpr const char *zoneRemedy =
    "use a name of the folder /usr/share/zoneinfo, for instance Europe/Paris, and install the "
    "package tzdata";

/// A zone that is described rather than named: "CET-1CEST,M3.5.0,M10.5.0".
bool isDescription(const std::string &zone) {
    static const std::regex &form =
        *new std::regex("(<[A-Za-z0-9+-]{3,}>|[A-Za-z]{3,})[+-]?[0-9]{1,2}(:[0-9]{2}){0,2}.*");
    return std::regex_match(zone, form);
}

bool isZoneFile(const std::string &zone) {
    const char *folder = std::getenv("TZDIR");
    const fs::path base = folder != nullptr ? folder : "/usr/share/zoneinfo";
    std::error_code error;
    return fs::is_regular_file(base / zone, error); // an absolute name replaces the base
}

std::string offset(std::time_t now) {
    std::tm local{};
    localtime_r(&now, &local);
    char text[64] = "";
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &local);
    return text;
}

void checkZone(Findings &findings, std::time_t now) {
    std::error_code error;
    const char *variable = std::getenv("TZ");
    std::string zone = variable != nullptr ? variable : "";
    if (zone.starts_with(':'))
        zone.erase(0, 1);
    if (variable == nullptr) {
        if (fs::is_symlink("/etc/localtime", error) && !fs::exists("/etc/localtime", error))
            findings.warn("clock.zone", "/etc/localtime points nowhere, so dates are in UTC",
                          zoneRemedy);
        else
            findings.ok("clock.zone", "local time is " + offset(now));
    } else if (zone.empty() || zone == "UTC" || isZoneFile(zone) || isDescription(zone)) {
        findings.ok("clock.zone", "local time is " + offset(now) + ", as TZ=" + variable + " says");
    } else {
        findings.warn("clock.zone",
                      "TZ=" + zone + " is not a known time zone, so dates are taken for UTC",
                      zoneRemedy);
    }
}

} // namespace

void checkClock(const Subject & /*subject*/, Findings &findings) {
    const std::time_t now = std::time(nullptr);
    checkZone(findings, now);
    // A machine whose clock starts from nothing is earlier than the program that runs on it.
    struct stat program {};
    if (::stat("/proc/self/exe", &program) != 0)
        return;
    if (now < program.st_mtime)
        findings.fail("clock.time",
                      "it is " + offset(now) + " here, but this program was built at " +
                          offset(program.st_mtime),
                      "set the clock: timedatectl set-ntp on");
    else
        findings.ok("clock.time", "the clock is plausible");
}

} // namespace velmora::doctor
