#include "collect/Moment.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace velmora::collect {

std::int64_t wallClock() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string momentText(std::int64_t milliseconds) {
    const std::time_t seconds = milliseconds / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::array<char, 8> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03dZ",
                  static_cast<int>(milliseconds % 1000));
    return std::string(text.data()) + fraction.data();
}

} // namespace velmora::collect
