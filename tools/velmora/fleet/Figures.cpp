#include "fleet/Figures.h"

#include <algorithm>
#include <cmath>

namespace velmora::fleet {

using nlohmann::ordered_json;

namespace {

/// The value below which so much of the sorted values lies.
double percentile(const std::vector<float> &sorted, double share) {
    if (sorted.empty())
        return 0;
    const auto place = static_cast<std::size_t>(share * static_cast<double>(sorted.size()));
    return static_cast<double>(sorted[std::min(place, sorted.size() - 1)]);
}

/// How the backlog of an outage goes: the hours after which a tenth of it is left, null when the
/// run does not show that.
ordered_json recoveryFrom(const Span &outage, const ordered_json &curve) {
    ordered_json recovery = {{"from", outage.first}, {"to", outage.second}};
    double waitingAtEnd = 0;
    for (const ordered_json &each : curve) {
        const double hour = each["hour"];
        const double waiting = each["waiting"];
        if (hour < outage.second)
            waitingAtEnd = waiting;
        else if (waiting <= waitingAtEnd / 10) {
            recovery["waitingAtEnd"] = waitingAtEnd;
            recovery["hoursToTenth"] = hour - outage.second;
            return recovery;
        }
    }
    recovery["waitingAtEnd"] = waitingAtEnd;
    recovery["hoursToTenth"] = nullptr;
    return recovery;
}

} // namespace

Slice &Figures::slice(double at) {
    const auto place = static_cast<std::size_t>(std::max(at, 0.0) / secondsOfSlice());
    return slices_[std::min(place, slices - 1)];
}

void Figures::sent(double at, std::size_t bytes, std::size_t resent) {
    ++requests_;
    bytes_ += bytes;
    resent_ += resent;
    Slice &current = slice(at);
    ++current.attempts;
    current.bytes += bytes;
}

void Figures::answered(double at, int status, double seconds, std::size_t events) {
    ++statuses_[status];
    latencies_.push_back(static_cast<float>(seconds));
    if (status != 200)
        return;
    acceptedEvents_ += events;
    Slice &current = slice(at);
    ++current.accepted;
    current.events += events;
}

ordered_json Figures::latencies() const {
    std::vector<float> sorted = latencies_;
    std::ranges::sort(sorted);
    ordered_json latency = ordered_json::object();
    for (const double share : {0.5, 0.9, 0.99, 0.999})
        latency["p" + std::to_string(std::lround(share * 1000))] = 1000 * percentile(sorted, share);
    latency["most"] = 1000 * percentile(sorted, 1);
    return latency;
}

/// Up to where something happened last.
ordered_json Figures::curve() const {
    ordered_json curve = ordered_json::array();
    std::size_t last = slices;
    while (last > 1 && !slices_[last - 1].waiting)
        --last;
    std::uint64_t waiting = 0;
    for (std::size_t i = 0; i < last; ++i) {
        const Slice &each = slices_[i];
        waiting = each.waiting.value_or(waiting);
        curve.push_back({{"hour", static_cast<double>(i) * secondsOfSlice() / 3600},
                         {"attempts", each.attempts},
                         {"accepted", each.accepted},
                         {"events", each.events},
                         {"bytes", each.bytes},
                         {"waiting", waiting}});
    }
    return curve;
}

ordered_json Figures::asJson(std::uint32_t devices, double took, std::uint64_t waitingAtEnd,
                             const std::optional<Span> &outage) const {
    const double days = simulated_ / 86400;
    const double perDeviceAndDay = 1 / (days * devices);
    ordered_json answers = ordered_json::object();
    for (const auto &[status, count] : statuses_)
        answers[status == 0 ? "none" : std::to_string(status)] = count;
    const ordered_json curve = this->curve();
    const auto perDay = [&](std::uint64_t count) {
        return static_cast<double>(count) * perDeviceAndDay;
    };
    return {{"devices", devices},
            {"simulatedDays", days},
            {"seconds", took},
            {"requests", requests_},
            {"requestsASecond", static_cast<double>(requests_) / took},
            {"eventsASecond", static_cast<double>(acceptedEvents_) / took},
            {"answers", answers},
            {"latencyMilliseconds", latencies()},
            {"eventsMade", made_},
            {"eventsAccepted", acceptedEvents_},
            {"eventsWaiting", waitingAtEnd},
            {"eventsLost", static_cast<std::int64_t>(made_ - acceptedEvents_ - waitingAtEnd)},
            {"eventsSentAgain", resent_},
            {"attemptsWithoutNetwork", offline_},
            {"outage", outage ? recoveryFrom(*outage, curve) : ordered_json()},
            {"aDeviceADay",
             {{"requests", perDay(requests_)},
              {"bodyBytes", perDay(bytes_)},
              {"events", perDay(made_)}}},
            {"minutesOfSlice", secondsOfSlice() / 60},
            {"curve", curve}};
}

} // namespace velmora::fleet
