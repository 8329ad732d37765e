#pragma once

#include "fleet/SdkRequests.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

/// What a load has shown.
struct Load {
    double seconds = 0;
    std::vector<double> milliseconds;
    double millisecondsBelow(double share) const;
};

/// "velmora collect" in a process of its own, with a file beside `place`.
class Collector {
public:
    static constexpr const char *key = "bench-key";
    static constexpr const char *secret = "bench-secret";

    Collector(const std::string &program, const std::string &place);
    Collector(const Collector &) = delete;
    Collector &operator=(const Collector &) = delete;
    ~Collector();

    /// Sends all requests over so many connections, each as soon as there is an answer, or `rate`
    /// of them a second. Latency counts from the moment a request should have gone. Throws when an
    /// answer is not 200.
    Load load(const std::vector<velmora::fleet::WireRequest> &requests, std::size_t connections,
              double rate) const;
    double residentMiB() const;
    /// Its processor time so far, in seconds.
    double processorSeconds() const;

private:
    int connect() const;

    pid_t process_ = -1;
    int out_ = -1;
    int port_ = 0;
};

} // namespace bench
