#include "fleet/Simulation.h"

#include <algorithm>
#include <array>

namespace velmora::fleet {
namespace {

constexpr double dayInSeconds = 86400;
constexpr std::chrono::milliseconds longestWait{20};

/// Keeps the numbers that make an identity apart from those that make its days.
constexpr std::uint64_t identitySalt = 0x1D;

double wallSeconds() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string uuidText(Random &random) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text = "00000000-0000-4000-8000-000000000000";
    for (char &c : text)
        if (c == '0')
            c = digits[random.next() >> 60];
    return text;
}

/// As long and as hard to compress as a string with some hundred vendors.
std::string consentText(Random &random) {
    constexpr std::string_view letters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    constexpr std::size_t shortest = 200;
    std::string text = "CQtDjkAQtDjkAAfABBENB4FgAPAAAAAAAAYgACLAAAAA";
    const std::size_t length = shortest + random.next() % shortest;
    while (text.size() < length)
        text += letters[random.next() >> 58];
    return text;
}

} // namespace

Simulation::Simulation(SimulationOptions options)
    : options_(std::move(options)), end_(options_.days * dayInSeconds), startDate_(wallSeconds()),
      begin_(std::chrono::steady_clock::now()),
      requests_(options_.address, options_.apiKey, options_.secret), figures_(end_),
      devices_(options_.devices),
      sender_(options_.connections, options_.certificates,
              [this](auto device, int status, double seconds, const WireRequest &request) {
                  ended(device, status, seconds, request);
              }) {
    Random seeds(options_.seed);
    for (std::uint32_t device = 0; device < options_.devices; ++device) {
        devices_[device].random = Random(seeds.next());
        schedule(device, true, 0);
        schedule(device, false, 0);
    }
}

double Simulation::now() const {
    const std::chrono::duration<double> real = std::chrono::steady_clock::now() - begin_;
    return std::min(end_, real.count() * options_.speedUp);
}

double Simulation::progress() const {
    return isStopped_ || due_.empty() ? 1 : std::min(1.0, due_.top().at / end_);
}

/// By trying at the rate of the busiest hour, and passing over what another hour has less.
void Simulation::schedule(std::uint32_t device, bool isChange, double from) {
    const Profile &profile = options_.profile;
    const double mean = (isChange ? profile.changes : profile.foregrounds) / dayInSeconds;
    if (mean <= 0)
        return;
    const double greatest = greatestUse(profile);
    Random &random = devices_[device].random;
    double at = from;
    do
        at += random.waitFor(mean * greatest);
    while (at < end_ && random.fraction() * greatest > useAt(profile, at));
    if (at < end_)
        due_.push({at, device, isChange});
}

bool Simulation::step() {
    const double until = now();
    while (!isStopped_ && !due_.empty() && due_.top().at <= until && !sender_.isFull()) {
        const Due due = due_.top();
        due_.pop();
        happen(due);
        figures_.waiting(due.at, waiting_);
    }
    sender_.work(longestWait);
    return !sender_.isIdle() || (!isStopped_ && !due_.empty());
}

void Simulation::happen(const Due &due) {
    Device &device = devices_[due.device];
    if (device.isPosting) {
        // In real time an exchange takes so little that nothing happens meanwhile.
        device.late.push_back(due);
        return;
    }
    if (due.isChange) {
        device.changes.push_back({startDate_ + due.at, consentText(device.random)});
        figures_.made();
        ++waiting_;
    }
    if (!device.changes.empty())
        post(due.device, due.at);
    schedule(due.device, due.isChange, due.at);
}

void Simulation::post(std::uint32_t number, double at) {
    Device &device = devices_[number];
    const double hour = at / 3600;
    const bool isOut =
        options_.outage && hour >= options_.outage->first && hour < options_.outage->second;
    if (isOut || device.random.fraction() > options_.profile.reach)
        return figures_.offline(at);
    WireRequest request = requests_.make(identityOf(number), device.changes, startDate_ + at);
    figures_.sent(at, request.body.size(), device.sent);
    device.sent = device.changes.size();
    device.isPosting = true;
    device.postedAt = at;
    sender_.send(number, std::move(request));
}

void Simulation::ended(std::uint32_t number, int status, double seconds,
                       const WireRequest &request) {
    Device &device = devices_[number];
    device.isPosting = false;
    for (const Due &due : std::exchange(device.late, {}))
        due_.push(due);
    // The machine may be behind the simulation's clock.
    figures_.answered(device.postedAt, status, seconds, request.events.size());
    if (status != 200)
        return;
    waiting_ -= device.changes.size();
    std::vector<ConsentChange>().swap(device.changes);
    device.sent = 0;
    if (options_.acknowledged == nullptr)
        return;
    // What is told survives the end of the process, however it comes.
    for (const std::string &event : request.events)
        std::fprintf(options_.acknowledged, "%s\n", event.c_str());
    std::fflush(options_.acknowledged);
}

Identity Simulation::identityOf(std::uint32_t device) const {
    Random random((options_.seed << 32 | device) ^ (identitySalt << 56));
    Identity identity{uuidText(random), uuidText(random), false, {}};
    identity.isTracked = random.fraction() < options_.profile.tracked;
    identity.vendor = uuidText(random);
    return identity;
}

} // namespace velmora::fleet
