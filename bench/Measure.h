#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Runs `ours` and `bare` in turn, `rounds` times each after one uncounted round, and prints the
/// medians in milliseconds, the median of the ratios pair by pair and the ratio allowed. Pairs keep
/// the comparison fair while the machine's speed drifts.
void compare(const std::string &name, double allowedRatio, int rounds,
             const std::function<double()> &ours, const std::function<double()> &bare);

/// The median of what `work` takes, in milliseconds, in so many rounds after one uncounted.
double median(int rounds, const std::function<void()> &work);

/// Milliseconds that `work` takes.
double timed(const std::function<void()> &work);

double median(std::vector<double> values);

/// Prints a figure that is a ratio already, and the one allowed.
void printRatio(const std::string &name, double ratio, double allowed);

/// The calling thread's processor time.
double threadMilliseconds();

/// What the calling thread has given to the system to write so far.
double writtenBytes();
double residentBytes();
/// The most that was resident since the last `forgetPeak`.
double peakBytes();
void forgetPeak();

/// A consent string of a usual length that differs with the number.
std::string consentString(int number);

} // namespace bench
