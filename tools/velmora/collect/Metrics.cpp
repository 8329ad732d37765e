#include "collect/Metrics.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

namespace velmora::collect {
namespace {

std::string head(const std::string &name, const char *type, const std::string &help) {
    return "# HELP " + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
}

std::string single(const std::string &name, const char *type, const std::string &help,
                   std::uint64_t value) {
    return head(name, type, help) + name + " " + std::to_string(value) + "\n";
}

double seconds(const timeval &time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

std::uint64_t residentBytes() {
    std::uint64_t total = 0;
    std::uint64_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

/// Without trailing zeros, as the format's own libraries write bounds.
std::string shortNumber(double number) {
    std::string text = std::to_string(number);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.'))
        text.pop_back();
    return text;
}

} // namespace

void Histogram::add(std::chrono::duration<double> time) {
    const auto place =
        static_cast<std::size_t>(std::ranges::lower_bound(bounds, time.count()) - bounds.begin());
    counts_.at(place).fetch_add(1, std::memory_order_relaxed);
    microseconds_.fetch_add(static_cast<std::uint64_t>(time.count() * 1e6),
                            std::memory_order_relaxed);
}

std::string Histogram::text(const std::string &name, const std::string &help) const {
    std::string text = head(name, "histogram", help);
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < counts_.size(); ++i) {
        sum += counts_.at(i);
        const std::string bound = i < bounds.size() ? shortNumber(bounds.at(i)) : "+Inf";
        text += name + "_bucket{le=\"" + bound + "\"} " + std::to_string(sum) + "\n";
    }
    text += name + "_sum " + std::to_string(static_cast<double>(microseconds_) / 1e6) + "\n";
    return text + name + "_count " + std::to_string(sum) + "\n";
}

void Metrics::answered(int status) {
    const auto *const place = std::ranges::find(statuses, status);
    if (place != statuses.end())
        ++answers.at(static_cast<std::size_t>(place - statuses.begin()));
}

std::string Metrics::text() const {
    std::string text = head("velmora_requests_total", "counter", "Requests by answer.");
    for (std::size_t i = 0; i < statuses.size(); ++i)
        text += "velmora_requests_total{answer=\"" + std::to_string(statuses.at(i)) + "\"} " +
                std::to_string(answers.at(i)) + "\n";
    text += single("velmora_unreadable_requests_total", "counter",
                   "Requests that broke off or were no HTTP.", unreadable);
    text += single("velmora_slow_connections_total", "counter",
                   "Connections ended because a request or its answer took too long.", tooSlow);
    text += single("velmora_events_added_total", "counter", "Events that were new.", eventsAdded);
    text += single("velmora_events_known_total", "counter", "Events that came again.", eventsKnown);
    text += single("velmora_received_bytes_total", "counter", "Bytes of bodies.", bytesReceived);
    text += single("velmora_sink_failures_total", "counter",
                   "Batches that the sink could not take.", sinkFailures);
    text += single("velmora_connections", "gauge", "Open connections.", connections);
    text += single("velmora_open_requests", "gauge", "Requests under way.", openRequests);
    text += single("velmora_held_bytes", "gauge",
                   "Bytes of bodies in memory, received and unpacked.", bytesHeld);
    text += requestSeconds.text("velmora_request_seconds",
                                "From a request's first line to the end of its answer.");
    text += commitSeconds.text("velmora_commit_seconds", "Time that a batch took in the sink.");
    text += single("process_resident_memory_bytes", "gauge", "Resident memory.", residentBytes());
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return text + head("process_cpu_seconds_total", "counter", "Processor time.") +
           "process_cpu_seconds_total " +
           std::to_string(seconds(usage.ru_utime) + seconds(usage.ru_stime)) + "\n";
}

} // namespace velmora::collect
