#pragma once

#include <atomic>
#include <cstddef>
#include <string>

namespace bench {

/// A local HTTP server on a thread of its own that reads each body whole, remembers when its last
/// byte came, and answers 200.
class Sink {
public:
    Sink();
    std::string address() const;
    /// On the scale of `now`, in milliseconds.
    double lastBodyAt() const { return lastBodyAt_; }
    std::size_t lastBodySize() const { return lastBodySize_; }

private:
    void serve();
    void serveConnection(int connection);

    int listener_ = -1;
    int port_ = 0;
    std::atomic<double> lastBodyAt_{0};
    std::atomic<std::size_t> lastBodySize_{0};
};

/// Milliseconds on a clock that never goes back.
double now();

} // namespace bench
