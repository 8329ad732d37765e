#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>

namespace velmora::ingest {

/// A server's connections, bounded in their number, in the time that a request takes to come and
/// its answer to go, and in the length of the headers: the server's library bounds none of these.
/// What is out of bounds is ended, whatever its thread waits for. From any thread; from the first
/// connection on it must live as long as the process.
class Connections {
public:
    static constexpr std::size_t most = 64;
    static constexpr const char *tooLongHeaders = "the headers are longer than 256 KiB";

    /// Told in a sentence why a connection is about to be ended.
    explicit Connections(std::function<void(const std::string &)> refused);

    /// Wraps what serves the connection that was just accepted on this port.
    std::function<void()> watched(std::function<void()> serve, int ownPort);

    // About the connection that this thread serves:
    /// False when the headers are too long.
    bool headCame();
    /// The request is whole; what follows may take its time.
    void requestCame();
    void answerGoes();
    void answerWent();
    void end();
    /// It ends: what can still be read from it is no request, and nobody waits for an answer.
    bool isEnded();

private:
    enum class Phase { head, body, work, answer };
    struct Connection;

    ino_t newestLocked(int ownPort, int &duplicate) const;
    void enter(Phase phase);
    void makeRoom();
    void refuse(const std::shared_ptr<Connection> &connection, const char *why);
    void watch();

    static thread_local Connection *served_;

    const std::function<void(const std::string &)> refused_;
    std::once_flag started_;
    std::mutex mutex_;
    std::condition_variable opened_;
    std::list<std::shared_ptr<Connection>> open_;
};

} // namespace velmora::ingest
