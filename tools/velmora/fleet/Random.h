#pragma once

#include <cmath>
#include <cstdint>

namespace velmora::fleet {

/// A small generator (splitmix64): a device's numbers follow from the seed and its own number.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        std::uint64_t mixed = state_ += 0x9E3779B97F4A7C15U;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31);
    }
    /// From 0 up to, but not including, 1.
    double fraction() { return static_cast<double>(next() >> 11) * 0x1p-53; }
    /// Until the next of what happens so often on average.
    double waitFor(double rate) { return -std::log1p(-fraction()) / rate; }

private:
    std::uint64_t state_;
};

} // namespace velmora::fleet
