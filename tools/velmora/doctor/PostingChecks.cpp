#include "Arguments.h"
#include "StoredValue.h"
#include "doctor/Checks.h"
#include "doctor/WaitingEvents.h"
#include "tcf/TCFText.h"

#include <VelmoraKit/velmora.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>

namespace velmora::doctor {
namespace {

constexpr double secondsOfHour = 3600;

/// What the SDK decides by whether the events may be sent.
struct Pacing {
    double now =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    std::optional<double> lastPost;
    std::optional<double> lastAttempt;
    /// Seconds.
    double postInterval = 0;
    double attemptInterval = 0;
};

std::string inWords(double secondsSince1970) {
    const double tenths = std::clamp(secondsSince1970, 0.0, 6.8e9) * 10;
    return tcf::dateInWords(static_cast<std::int64_t>(tenths) / 10 * 10);
}

std::optional<double> storedDate(const char *key) {
    const auto value = storedValue(key);
    if (!value.is_object() || !value.contains("$date") || !value["$date"].is_number())
        return std::nullopt;
    return value["$date"].get<double>();
}

double configuredSeconds(const nlohmann::json &configuration, const char *key) {
    const auto hours = configuration.find(key);
    return hours != configuration.end() && hours->is_number() ? hours->get<double>() * secondsOfHour
                                                              : 0;
}

Pacing readPacing() {
    Pacing pacing;
    pacing.lastPost = storedDate("VMRLastPostConsentDatasDateKey");
    pacing.lastAttempt = storedDate("VMRLastPostConsentDatasAttemptDateKey");
    char *json = nullptr;
    requireOK(velmora_status_json(&json));
    const std::unique_ptr<char, decltype(&velmora_free)> owned(json, velmora_free);
    const auto configuration = nlohmann::json::parse(json)["configuration"];
    pacing.postInterval = configuredSeconds(configuration, "LOGS_REQUEST_SEND_TIME_INTERVAL");
    pacing.attemptInterval = configuredSeconds(configuration, "LOGS_REQUEST_ATTEMPT_TIME_INTERVAL");
    return pacing;
}

/// Until when the intervals hold the events back; nothing when they do not. A date in the future
/// holds nothing back: the clock was set.
std::optional<double> heldUntil(const Pacing &pacing) {
    const double post = pacing.lastPost.value_or(-INFINITY);
    const double attempt = pacing.lastAttempt.value_or(-INFINITY);
    if (post > pacing.now || attempt > pacing.now)
        return std::nullopt;
    const double until = std::max(post + pacing.postInterval, attempt + pacing.attemptInterval);
    return until >= pacing.now ? std::optional(until) : std::nullopt;
}

void checkLastPost(const Pacing &pacing, Findings &findings) {
    findings.ok("consent.posted", pacing.lastPost
                                      ? "the consent was last posted " + inWords(*pacing.lastPost)
                                      : "no consent was posted from this store yet");
}

void tellWhy(const std::string &waiting, const WaitingEvents &events, const Pacing &pacing,
             Findings &findings) {
    const bool hasFailed =
        pacing.lastAttempt && pacing.lastAttempt > pacing.lastPost.value_or(-INFINITY);
    const std::string failed =
        hasFailed ? "the last attempt, " + inWords(*pacing.lastAttempt) + ", did not succeed" : "";
    if (const auto until = heldUntil(pacing))
        findings.warn("consent.waiting",
                      waiting + (hasFailed ? "; " + failed + ", and" : ";") +
                          " the configured interval holds them back until " + inWords(*until),
                      "wait for the first change or return to the foreground after that, or have "
                      "the service configure a shorter interval");
    else if (hasFailed && (!events.oldest || *events.oldest <= *pacing.lastAttempt))
        findings.warn("consent.waiting", waiting + "; " + failed,
                      "look into the application's log and check with --connect; they are sent "
                      "with the next change or return to the foreground");
    else
        findings.warn("consent.waiting",
                      waiting + "; since then no change was noticed in a running application, nor "
                                "did it return to the foreground",
                      "let the application tell the SDK that it returns to the foreground, and "
                      "let the main run loop run; both send what waits");
}

void checkWaiting(const Pacing &pacing, Findings &findings) {
    const auto value = storedValue("VMRConsentEventsArray");
    if (value.is_null())
        return findings.ok("consent.waiting", "no consent event waits");
    std::optional<WaitingEvents> events;
    if (value.is_object() && value.contains("$data") && value["$data"].is_string())
        events = readWaitingEvents(bytesFromHexadecimal(value["$data"].get<std::string>()));
    if (!events)
        findings.fail("consent.waiting",
                      "the consent events that wait cannot be read (VMRConsentEventsArray)",
                      "use the program of the same version as the application, which keeps what "
                      "it cannot read under another key");
    else if (events->count == 0)
        findings.ok("consent.waiting", "no consent event waits");
    else
        tellWhy((events->count == 1 ? std::string("1 consent event waits")
                                    : std::to_string(events->count) + " consent events wait") +
                    (events->oldest ? ", since " + inWords(*events->oldest) : ""),
                *events, pacing, findings);
}

} // namespace

void checkPosting(const Subject &subject, Findings &findings) {
    if (!subject.isStoreRead)
        return;
    const Pacing pacing = readPacing();
    checkLastPost(pacing, findings);
    checkWaiting(pacing, findings);
}

} // namespace velmora::doctor
