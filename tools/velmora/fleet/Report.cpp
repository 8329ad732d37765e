#include "fleet/Report.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

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
table { border-collapse: collapse } td, th { padding: .2rem 1.2rem .2rem 0; text-align: left;
        border-bottom: 1px solid #d5dce4 } td + td { text-align: right }
svg { width: 100%; height: auto } svg text { font-size: 12px; fill: #465363 }
figure { margin: 2rem 0 } figcaption { font-weight: 600 }
@media (prefers-color-scheme: dark) { body { color: #dfe6ee; background: #14191f }
  td, th { border-color: #34404d } svg text { fill: #a9b6c4 } }
</style></head><body>
<h1>A fleet's days</h1>
)";

std::string number(double value) {
    std::array<char, 40> text{};
    const int decimals = value != 0 && value < 10 ? 2 : value < 1000 ? 1 : 0;
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    return text.data();
}

std::string row(const std::string &name, const std::string &value) {
    return "<tr><td>" + name + "</td><td>" + value + "</td></tr>\n";
}

std::string row(const std::string &name, const ordered_json &value) {
    return row(name, value.is_number_float() ? number(value) : value.dump());
}

std::string textAt(double x, double y, const char *anchor, const std::string &text) {
    return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" text-anchor=\"" + anchor + "\">" +
           text + "</text>\n";
}

/// One value of the curve over the simulated hours, each as its share of `unit` seconds.
std::string picture(const ordered_json &curve, const char *entry, const std::string &caption,
                    const char *colour) {
    double most = 1;
    for (const ordered_json &each : curve)
        most = std::max(most, each[entry].get<double>());
    const double last = curve.back()["hour"];
    std::string points;
    for (const ordered_json &each : curve)
        points += number(margin + each["hour"].get<double>() / last * (width - margin)) + "," +
                  number(height - each[entry].get<double>() / most * (height - 20)) + " ";
    std::string svg = "<figure><figcaption>" + caption + "</figcaption>\n<svg viewBox=\"0 0 " +
                      number(width + 20) + " " + number(height + 24) +
                      "\" role=\"img\" aria-label=\"" + caption + ": at most " + number(most) +
                      "\">\n";
    for (const double share : {0.0, 0.5, 1.0}) {
        const double y = height - share * (height - 20);
        svg += "<line x1=\"" + number(margin) + "\" x2=\"" + number(width) + "\" y1=\"" +
               number(y) + "\" y2=\"" + number(y) +
               "\" stroke=\"#8a97a6\" stroke-width=\"0.5\"/>\n" +
               textAt(margin - 6, y + 4, "end", number(share * most));
    }
    for (int i = 0; i <= 8; ++i)
        svg += textAt(margin + i / 8.0 * (width - margin), height + 18, "middle",
                      number(i / 8.0 * last) + " h");
    return svg + "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" + colour + "\" points=\"" +
           points + "\"/>\n</svg></figure>\n";
}

} // namespace

std::string pageOf(const ordered_json &figures) {
    const ordered_json &latency = figures["latencyMilliseconds"];
    const ordered_json &daily = figures["aDeviceADay"];
    const ordered_json &curve = figures["curve"];
    std::string answers;
    for (const auto &[status, count] : figures["answers"].items())
        answers += (answers.empty() ? "" : ", ") + status + ": " + count.dump();
    const std::string slice = number(curve[1]["hour"].get<double>() * 60) + " simulated minutes";
    return top + ("<table>\n" + row("Devices", figures["devices"])) +
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
           row("Requests, a device a day", daily["requests"]) +
           row("Bytes of bodies, a device a day", daily["bodyBytes"]) +
           row("Events, a device a day", daily["events"]) + "</table>\n" +
           picture(curve, "attempts", "Attempts to post, in " + slice, "#8a5a00") +
           picture(curve, "accepted", "Requests accepted, in " + slice, "#0b6e4f") +
           picture(curve, "waiting", "Events that wait on devices", "#a0285a") + "</body></html>\n";
}

} // namespace velmora::fleet
