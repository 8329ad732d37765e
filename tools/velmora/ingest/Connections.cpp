#include "ingest/Connections.h"

#include "ingest/Sockets.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::ingest {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char *slowSender = "the request did not come whole within 20 seconds";
constexpr const char *slowReader = "the answer was not read within 20 seconds";
constexpr std::chrono::seconds patience{20};
constexpr std::chrono::milliseconds betweenLooks{100};
constexpr std::uint64_t longestHeaders = std::uint64_t{256} << 10;

} // namespace

struct Connections::Connection {
    /// A duplicate, so that it is never another connection's; -1 when there was none left.
    int descriptor = -1;
    ino_t inode = 0;
    Phase phase = Phase::head;
    Clock::time_point since = Clock::now();
    std::uint64_t readBefore = 0;
    bool isEnded = false;

    bool isTooLong() const {
        return phase == Phase::head && bytesReadFrom(descriptor) - readBefore > longestHeaders;
    }
    bool isTooSlow() const { return phase != Phase::work && Clock::now() - since > patience; }
};

thread_local Connections::Connection *Connections::served_ = nullptr;

Connections::Connections(std::function<void(const std::string &)> refused)
    : refused_(std::move(refused)) {}

std::function<void()> Connections::watched(std::function<void()> serve, int ownPort) {
    std::call_once(started_, [this] { std::thread([this] { watch(); }).detach(); });
    makeRoom();
    auto connection = std::make_shared<Connection>();
    {
        const std::lock_guard lock(mutex_);
        connection->inode = newestLocked(ownPort, connection->descriptor);
        open_.push_back(connection);
    }
    opened_.notify_one();
    return [this, connection, serve = std::move(serve)] {
        served_ = connection.get();
        serve();
        const std::lock_guard lock(mutex_);
        open_.remove(connection);
        close(std::exchange(connection->descriptor, -1));
    };
}

/// The library says nothing about the connection: it is the one that is not known yet.
ino_t Connections::newestLocked(int ownPort, int &duplicate) const {
    std::error_code failed;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd", failed)) {
        const std::string name = entry.path().filename();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        if (portOfConnection(descriptor) != ownPort)
            continue;
        const ino_t inode = inodeOf(descriptor);
        const bool isKnown = std::ranges::any_of(
            open_, [&](const auto &connection) { return connection->inode == inode; });
        if (isKnown)
            continue;
        duplicate = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
        return inode;
    }
    return 0;
}

bool Connections::headCame() {
    const std::lock_guard lock(mutex_);
    const bool isShort = !served_->isTooLong();
    served_->phase = Phase::body;
    return isShort;
}

void Connections::enter(Phase phase) {
    const std::lock_guard lock(mutex_);
    served_->phase = phase;
    served_->since = Clock::now();
    served_->readBefore = bytesReadFrom(served_->descriptor);
}

void Connections::requestCame() {
    enter(Phase::work);
}

void Connections::answerGoes() {
    enter(Phase::answer);
}

void Connections::answerWent() {
    enter(Phase::head);
}

bool Connections::isEnded() {
    const std::lock_guard lock(mutex_);
    return served_->isEnded;
}

void Connections::end() {
    const std::lock_guard lock(mutex_);
    served_->isEnded = true;
    shutdown(served_->descriptor, SHUT_RDWR);
}

void Connections::refuse(const std::shared_ptr<Connection> &connection, const char *why) {
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(connection->isEnded, true))
            return;
    }
    refused_(why);
    const std::lock_guard lock(mutex_);
    shutdown(connection->descriptor, SHUT_RDWR);
}

void Connections::makeRoom() {
    std::shared_ptr<Connection> oldest;
    {
        const std::lock_guard lock(mutex_);
        std::size_t count = 0;
        for (const auto &each : open_) {
            if (each->isEnded)
                continue;
            ++count;
            const bool waits = each->phase == Phase::head || each->phase == Phase::body;
            if (waits && (!oldest || each->since < oldest->since))
                oldest = each;
        }
        if (count < most)
            return;
    }
    if (oldest)
        refuse(oldest, "64 connections are open, and this one has waited longest with its request");
}

void Connections::watch() {
    for (;;) {
        std::vector<std::pair<std::shared_ptr<Connection>, const char *>> wrong;
        {
            std::unique_lock lock(mutex_);
            opened_.wait(lock, [this] { return !open_.empty(); });
            for (const auto &each : open_) {
                if (each->isTooLong())
                    wrong.emplace_back(each, tooLongHeaders);
                else if (each->isTooSlow())
                    wrong.emplace_back(each,
                                       each->phase == Phase::answer ? slowReader : slowSender);
            }
        }
        for (const auto &[connection, why] : wrong)
            refuse(connection, why);
        std::this_thread::sleep_for(betweenLooks);
    }
}

} // namespace velmora::ingest
