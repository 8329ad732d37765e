#include "Measure.h"

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>

namespace bench {
namespace {

double bytesOf(const char *field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.starts_with(field))
            return std::strtod(line.c_str() + line.find(':') + 1, nullptr) * 1024;
    }
    return 0;
}

} // namespace

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void printRatio(const std::string &name, double ratio, double allowed) {
    std::printf("%-58s %30s %7.2f  (allowed %.2f)%s\n", name.c_str(), "", ratio, allowed,
                ratio <= allowed ? "" : "  MISSED");
    std::fflush(stdout);
}

double threadMilliseconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

double writtenBytes() {
    std::ifstream counters("/proc/thread-self/io");
    std::string name;
    double value = 0;
    while (counters >> name >> value) {
        if (name == "wchar:")
            return value;
    }
    return 0;
}

double residentBytes() {
    malloc_trim(0);
    return bytesOf("VmRSS:");
}

double peakBytes() {
    return bytesOf("VmHWM:");
}

void forgetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

double median(int rounds, const std::function<void()> &work) {
    work();
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round)
        times.push_back(timed(work));
    return median(std::move(times));
}

double timed(const std::function<void()> &work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::milli> elapsed =
        std::chrono::steady_clock::now() - begin;
    return elapsed.count();
}

void compare(const std::string &name, double allowedRatio, int rounds,
             const std::function<double()> &ours, const std::function<double()> &bare) {
    std::vector<double> oursTimes;
    std::vector<double> bareTimes;
    std::vector<double> ratios;
    ours();
    bare();
    for (int round = 0; round < rounds; ++round) {
        oursTimes.push_back(ours());
        bareTimes.push_back(bare());
        ratios.push_back(oursTimes.back() / bareTimes.back());
    }
    const double ratio = median(ratios);
    std::printf("%-58s %9.3f ms %9.3f ms   %5.2f  (allowed %.2f)%s\n", name.c_str(),
                median(oursTimes), median(bareTimes), ratio, allowedRatio,
                ratio <= allowedRatio ? "" : "  MISSED");
    std::fflush(stdout);
}

std::string consentString(int number) {
    // As hard to compress as a real one: base64url characters from a small generator.
    static constexpr char letters[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string text = "CP";
    unsigned state = static_cast<unsigned>(number) * 2654435761U + 1;
    while (text.size() < 900) {
        state = state * 1664525U + 1013904223U;
        text += letters[state >> 26];
    }
    return text;
}

} // namespace bench
