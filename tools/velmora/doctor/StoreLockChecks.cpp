#include "doctor/Checks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

namespace velmora::doctor {
namespace {

// Where SQLite locks: who has the database to itself writes the range behind 1 GiB that the others
// share, the log's one writer holds a byte of the index.
constexpr unsigned long long sharedByte = 0x40000002;
constexpr unsigned long long writerByte = 120;
/// Every connection shares a lock of this byte of the index as long as it is open.
constexpr unsigned long long openByte = 128;
// A commit takes milliseconds.
constexpr std::chrono::milliseconds longWrite{500};

struct Lock {
    std::string kind;
    bool isWrite = false;
    long process = 0;
    unsigned long long first = 0;
    unsigned long long last = 0;

    bool covers(unsigned long long byte) const { return first <= byte && byte <= last; }
};

/// A line like "3: POSIX  ADVISORY  WRITE 708 fe:01:4242 120 120" of /proc/locks, when it is about
/// that file.
bool read(const std::string &line, const struct stat &file, Lock &lock) {
    std::istringstream words(line);
    std::string number;
    std::string advisory;
    std::string access;
    std::string place;
    std::string last;
    words >> number >> lock.kind;
    if (lock.kind == "->")
        return false; // waits for a lock
    words >> advisory >> access >> lock.process >> place >> lock.first >> last;
    char expected[64];
    std::snprintf(expected, sizeof expected, "%02x:%02x:%llu", major(file.st_dev),
                  minor(file.st_dev), static_cast<unsigned long long>(file.st_ino));
    if (!words || place != expected)
        return false;
    lock.isWrite = access == "WRITE";
    lock.last = last == "EOF" ? ~0ULL : std::stoull(last);
    return true;
}

std::vector<Lock> locksOf(const std::string &path) {
    struct stat status {};
    std::vector<Lock> locks;
    if (::stat(path.c_str(), &status) != 0)
        return locks;
    std::ifstream table("/proc/locks");
    for (std::string line; std::getline(table, line);) {
        Lock lock;
        if (read(line, status, lock))
            locks.push_back(lock);
    }
    return locks;
}

std::string nameOf(long process) {
    if (process <= 0)
        return "a process that cannot be seen from here";
    std::string name;
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::getline(file, name);
    return "process " + std::to_string(process) + (name.empty() ? "" : " (" + name + ")");
}

template <class Condition>
std::set<long> holders(const std::string &path, Condition &&condition) {
    std::set<long> found;
    for (const Lock &lock : locksOf(path))
        if (condition(lock))
            found.insert(lock.process);
    return found;
}

/// The table does not show locks of processes outside of this container.
bool isWorkLocked(const std::string &path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct flock probe {};
    probe.l_type = F_WRLCK;
    probe.l_whence = SEEK_SET;
    probe.l_len = 1;
    const bool isLocked =
        file >= 0 && ::fcntl(file, F_OFD_GETLK, &probe) == 0 && probe.l_type != F_UNLCK;
    ::close(file);
    return isLocked;
}

std::set<long> longWriters(const std::string &path) {
    const auto writes = [](const Lock &lock) { return lock.isWrite && lock.covers(writerByte); };
    const std::set<long> before = holders(path + "-shm", writes);
    if (before.empty())
        return {};
    std::this_thread::sleep_for(longWrite);
    const std::set<long> after = holders(path + "-shm", writes);
    std::set<long> both;
    std::set_intersection(before.begin(), before.end(), after.begin(), after.end(),
                          std::inserter(both, both.end()));
    return both;
}

} // namespace

void checkStoreLocks(const Subject &subject, Findings &findings) {
    const std::string &path = subject.storePath;
    if (path.empty())
        return;
    const std::size_t before = findings.all().size();
    for (const long process : holders(path, [](const Lock &lock) {
             return lock.isWrite && (lock.kind == "FLOCK" || lock.covers(sharedByte));
         }))
        findings.warn("store.locks", nameOf(process) + " keeps all others out of the store",
                      "end that process");
    for (const long process : longWriters(path))
        findings.warn("store.locks", nameOf(process) + " keeps others from writing the store",
                      "let it commit, or end that process");
    std::set<long> workers =
        holders(path + "-lock", [](const Lock &lock) { return lock.isWrite && lock.covers(0); });
    if (workers.empty() && isWorkLocked(path + "-lock"))
        workers.insert(0);
    for (const long process : workers)
        findings.ok("store.locks", nameOf(process) + " is in charge of the store");
    for (const long process :
         holders(path + "-shm", [](const Lock &lock) { return lock.covers(openByte); }))
        if (!workers.empty() && workers.count(process) == 0 && process != getpid())
            findings.ok("store.locks", nameOf(process) + " has the store open besides; if it runs "
                                                         "the SDK, it waits until that one ends");
    if (findings.all().size() == before)
        findings.ok("store.locks", "nobody keeps others from using the store");
}

} // namespace velmora::doctor
