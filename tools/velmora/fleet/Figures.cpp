#include "fleet/Figures.h"

#include <algorithm>
#include <cmath>

namespace velmora::fleet {

using nlohmann::ordered_json;

double percentile(const std::vector<float> &sorted, double share) {
    if (sorted.empty())
        return 0;
    const auto place = static_cast<std::size_t>(share * static_cast<double>(sorted.size()));
    return static_cast<double>(sorted[std::min(place, sorted.size() - 1)]);
}

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

std::vector<float> Figures::sortedLatencies() const {
    std::vector<float> sorted = latencies_;
    std::ranges::sort(sorted);
    return sorted;
}

ordered_json Figures::asJson(std::uint32_t devices, double took, std::uint64_t waitingAtEnd) const {
    const double days = simulated_ / 86400;
    const double perDeviceAndDay = 1 / (days * devices);
    const std::vector<float> sorted = sortedLatencies();
    ordered_json answers = ordered_json::object();
    for (const auto &[status, count] : statuses_)
        answers[status == 0 ? "none" : std::to_string(status)] = count;
    ordered_json latency = ordered_json::object();
    for (const double share : {0.5, 0.9, 0.99, 0.999})
        latency["p" + std::to_string(std::lround(share * 1000))] = 1000 * percentile(sorted, share);
    latency["most"] = 1000 * percentile(sorted, 1);
    ordered_json curve = ordered_json::array();
    for (std::size_t i = 0; i < slices; ++i) {
        const Slice &each = slices_[i];
        curve.push_back({{"hour", static_cast<double>(i) * secondsOfSlice() / 3600},
                         {"attempts", each.attempts},
                         {"accepted", each.accepted},
                         {"events", each.events},
                         {"bytes", each.bytes},
                         {"waiting", each.waiting}});
    }
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
            {"latencyMilliseconds", latency},
            {"eventsMade", made_},
            {"eventsAccepted", acceptedEvents_},
            {"eventsWaiting", waitingAtEnd},
            {"eventsLost", static_cast<std::int64_t>(made_ - acceptedEvents_ - waitingAtEnd)},
            {"eventsSentAgain", resent_},
            {"attemptsWithoutNetwork", offline_},
            {"aDeviceADay",
             {{"requests", perDay(requests_)},
              {"bodyBytes", perDay(bytes_)},
              {"events", perDay(made_)}}},
            {"curve", curve}};
}

} // namespace velmora::fleet
