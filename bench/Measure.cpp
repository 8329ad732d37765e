#include "Measure.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace bench {
namespace {

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

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
