#include "fleet/Report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace velmora::fleet {
namespace {

using nlohmann::ordered_json;

constexpr double width = 860;
constexpr double height = 200;
constexpr double margin = 60;

constexpr const char *top = R"(<!doctype html>
<html lang="en"><head><meta charset="utf-8"><title>A fleet's days</title>
<style>
body { font: 15px/1.5 system-ui, sans-serif; max-width: 60rem; margin: 2rem auto; padding: 0 1rem;
       color: #1d2733; background: #fff }
tbody { display: grid; grid-template-columns: repeat(auto-fit, minmax(22rem, 1fr)); column-gap: 3rem }
table { display: block } tr { display: flex; justify-content: space-between; padding: .2rem 0;
        border-bottom: 1px solid #d5dce4 } td + td { text-align: right }
svg { width: 100%; height: auto } svg text { font-size: 12px; fill: #465363 }
figure { margin: 2rem 0 } figcaption { font-weight: 600 } line { stroke: #8a97a6; stroke-width: .5 }
polyline { fill: none; stroke-width: 2 } rect { fill: #8a97a6; opacity: .2 }
.attempts { stroke: #8a5a00 } .accepted { stroke: #0b6e4f } .waiting { stroke: #a0285a }
@media (prefers-color-scheme: dark) { body { color: #dfe6ee; background: #14191f }
  tr { border-color: #34404d } svg text { fill: #a9b6c4 }
  .attempts { stroke: #e0a84a } .accepted { stroke: #4fc79d } .waiting { stroke: #f08bb4 } }
</style></head><body>
<h1>A fleet's days</h1>
)";

/// With as many decimals as tell something, and a blank before each three digits.
std::string number(double value) {
    std::array<char, 40> text{};
    const int decimals = value == std::round(value) || value >= 1000 ? 0 : value < 10 ? 2 : 1;
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    std::string digits = text.data();
    for (std::size_t place = digits.size(); decimals == 0 && place > 3;)
        digits.insert(place -= 3, "\u202f");
    return digits;
}

std::string coordinate(double value) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.1f", value);
    return text.data();
}

std::string row(const std::string &name, const std::string &value) {
    return "<tr><td>" + name + "</td><td>" + value + "</td></tr>\n";
}

std::string row(const std::string &name, const ordered_json &value) {
    return row(name, number(value));
}

std::string textAt(double x, double y, const char *anchor, const std::string &text) {
    return "<text x=\"" + coordinate(x) + "\" y=\"" + coordinate(y) + "\" text-anchor=\"" + anchor +
           "\">" + text + "</text>\n";
}

/// One value of the curve over the simulated hours, with the outage behind it.
std::string picture(const ordered_json &figures, const std::string &entry,
                    const std::string &caption) {
    const ordered_json &curve = figures["curve"];
    const double hours = figures["simulatedDays"].get<double>() * 24;
    double most = 2;
    for (const ordered_json &each : curve)
        most = std::max(most, each[entry].get<double>());
    most = 2 * std::ceil(most / 2); // its half is a number of them, too
    const auto x = [&](double hour) { return margin + hour / hours * (width - margin); };
    const auto y = [&](double value) { return height - value / most * (height - 20); };
    std::string svg = "<figure><figcaption>" + caption + "</figcaption>\n<svg viewBox=\"0 0 " +
                      coordinate(width + 20) + " " + coordinate(height + 24) +
                      "\" role=\"img\" aria-label=\"" + caption + ": at most " + number(most) +
                      "\">\n";
    if (const ordered_json &outage = figures["outage"]; !outage.is_null()) {
        const double from = x(outage["from"]);
        const double to = x(std::min(outage["to"].get<double>(), hours));
        svg += "<rect x=\"" + coordinate(from) + "\" y=\"20\" width=\"" +
               coordinate(std::max(to - from, 0.0)) + "\" height=\"" + coordinate(height - 20) +
               "\"/>\n" + textAt(from, 14, "start", "no network");
    }
    for (const double share : {0.0, 0.5, 1.0})
        svg += "<line x1=\"" + coordinate(margin) + "\" x2=\"" + coordinate(width) + "\" y1=\"" +
               coordinate(y(share * most)) + "\" y2=\"" + coordinate(y(share * most)) + "\"/>\n" +
               textAt(margin - 6, y(share * most) + 4, "end", number(share * most));
    for (int i = 0; i <= 8; ++i)
        svg += textAt(x(i / 8.0 * hours), height + 18, "middle", number(i / 8.0 * hours) + " h");
    svg += "<polyline class=\"" + entry + "\" points=\"";
    for (const ordered_json &each : curve)
        svg += coordinate(x(each["hour"])) + "," + coordinate(y(each[entry])) + " ";
    return svg + "\"/>\n</svg></figure>\n";
}

std::string rowsAboutOutage(const ordered_json &outage) {
    if (outage.is_null())
        return {};
    const ordered_json &hours = outage["hoursToTenth"];
    return row("No network from, to, hours", number(outage["from"]) + ", " + number(outage["to"])) +
           row("Events waiting at its end", outage["waitingAtEnd"]) +
           row("Hours until a tenth of them waits",
               hours.is_null() ? "not in this run" : number(hours));
}

} // namespace

std::string pageOf(const ordered_json &figures) {
    const ordered_json &latency = figures["latencyMilliseconds"];
    const ordered_json &daily = figures["aDeviceADay"];
    std::string answers;
    for (const auto &[status, count] : figures["answers"].items())
        answers += (answers.empty() ? "" : ", ") + status + ": " + number(count);
    const std::string slice = number(figures["minutesOfSlice"]) + " simulated minutes";
    return top +
           ("<table>\n" + row("Profile", figures["profile"].get<std::string>()) +
            row("Devices", figures["devices"])) +
           row("Simulated days", figures["simulatedDays"]) +
           row("Seconds it took", figures["seconds"]) + row("Requests", figures["requests"]) +
           row("Requests a second", figures["requestsASecond"]) +
           row("Events accepted a second", figures["eventsASecond"]) + row("Answers", answers) +
           row("Latency: half below, ms", latency["p500"]) +
           row("Latency: 99 % below, ms", latency["p990"]) +
           row("Latency: longest, ms", latency["most"]) +
           row("Events made", figures["eventsMade"]) +
           row("Events accepted", figures["eventsAccepted"]) +
           row("Events still on devices", figures["eventsWaiting"]) +
           row("Events lost", figures["eventsLost"]) +
           row("Events sent again", figures["eventsSentAgain"]) +
           row("Attempts without a network", figures["attemptsWithoutNetwork"]) +
           rowsAboutOutage(figures["outage"]) + row("Requests, a device a day", daily["requests"]) +
           row("Bytes of bodies, a device a day", daily["bodyBytes"]) +
           row("Events, a device a day", daily["events"]) + "</table>\n" +
           picture(figures, "attempts", "Attempts to post, in " + slice) +
           picture(figures, "accepted", "Requests accepted, in " + slice) +
           picture(figures, "waiting", "Events that wait on devices") + "</body></html>\n";
}

} // namespace velmora::fleet
