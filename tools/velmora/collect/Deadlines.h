#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace velmora::collect {

/// Ends connections whose time is over, however busily a few bytes come now and then. From any
/// thread.
class Deadlines {
public:
    /// `ended`: its time was over.
    enum class Phase { idle, request, work, answer, ended };
    struct Connection {
        int descriptor;
        /// The address at its other end.
        std::string peer;
        std::atomic<Phase> phase{Phase::idle};
        std::atomic<std::chrono::steady_clock::duration::rep> end{0};
        std::list<std::unique_ptr<Connection>>::iterator place;
    };

    /// When so many connections are open that few more fit, idle ones get a tenth of their time.
    explicit Deadlines(std::size_t most);
    Deadlines(const Deadlines &) = delete;
    Deadlines &operator=(const Deadlines &) = delete;
    ~Deadlines();

    Connection *opened(int descriptor, std::string peer);
    /// Comes before the descriptor is closed.
    void closed(Connection *connection);
    static void enter(Connection &connection, Phase phase);

private:
    void watch();
    void sweepLocked();

    const std::size_t most_;
    std::mutex mutex_;
    std::condition_variable stops_;
    bool isStopped_ = false;
    std::list<std::unique_ptr<Connection>> open_;
    std::thread thread_;
};

} // namespace velmora::collect
