#include "platform/linux/preferences/PreferencesOwnership.h"

#include "platform/linux/ForkedChild.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vmr {
namespace {

// The bytes of the file that stand for the two rights.
constexpr off_t work = 0;
constexpr off_t upkeep = 1;

struct flock lockOf(short type, off_t what) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = what;
    lock.l_len = 1;
    return lock;
}

bool leadsTo(const std::string &path, int file) {
    struct stat there {};
    struct stat here {};
    return ::stat(path.c_str(), &there) == 0 && ::fstat(file, &here) == 0 &&
           there.st_dev == here.st_dev && there.st_ino == here.st_ino;
}

bool mayPass(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOSPC ||
           error == EDQUOT || error == EINTR || error == EIO;
}

} // namespace

PreferencesOwnership::~PreferencesOwnership() {
    const MutexLock lock(mutex_);
    if (isForkedChild())
        static_cast<void>(file_.release());
    replaceFile({});
}

void PreferencesOwnership::found(const std::string &path) {
    const MutexLock lock(mutex_);
    if (lockPath_.empty())
        lockPath_ = path + "-lock";
}

void PreferencesOwnership::replaceFile(OwnedDescriptor file) {
    std::swap(file_, file);
    // Closing it would take the locks of another copy of the library in this process away.
    if (isShared_)
        static_cast<void>(file.release());
}

/// Opens it anew where somebody has removed or replaced it.
bool PreferencesOwnership::open(int flags) {
    if (lockPath_.empty())
        lockPath_ = resolvedFolder(path_) + "-lock";
    if (file_ && leadsTo(lockPath_, file_.get()))
        return true;
    OwnedDescriptor file = openOwnFile(lockPath_, O_RDWR | flags);
    if (!file) {
        error_ = errno;
        return isWorker_ && file_;
    }
    replaceFile(std::move(file));
    hasRival_ = isWorker_ && !take(work);
    return true;
}

/// Asked for a lock of an open file, the kernel names whoever has one of a process, be it this one.
std::optional<pid_t> PreferencesOwnership::holder(off_t what) {
    struct flock probe = lockOf(F_WRLCK, what);
    if (::fcntl(file_.get(), F_OFD_GETLK, &probe) != 0 || probe.l_type == F_UNLCK)
        return std::nullopt;
    isShared_ = isShared_ || probe.l_pid == ::getpid();
    return probe.l_pid;
}

bool PreferencesOwnership::take(off_t what) {
    // Once more, for who was faster may have ended already.
    for (int attempt = 0; attempt < 2 && !holder(what); ++attempt) {
        struct flock lock = lockOf(F_WRLCK, what);
        // A file system that knows no locks keeps nobody out.
        if (::fcntl(file_.get(), F_SETLK, &lock) == 0 || (errno != EAGAIN && errno != EACCES))
            return true;
    }
    return false;
}

std::optional<bool> PreferencesOwnership::takeWork(bool isRefused) {
    const MutexLock lock(mutex_);
    if (!isWorker_ && file_ && holder(work)) // also in one that was removed
        return false;
    const bool isOpen = isWorker_ || open(isRefused ? 0 : O_CREAT);
    if (!isOpen && mayPass(error_))
        return std::nullopt;
    // Where there can be no lock, in a folder that is read-only say, nobody can be kept out.
    isWorker_ = isWorker_ || !isOpen || take(work);
    return isWorker_;
}

void PreferencesOwnership::leaveWork() {
    const MutexLock lock(mutex_);
    isWorker_ = false;
    struct flock unlock = lockOf(F_UNLCK, work);
    if (file_)
        ::fcntl(file_.get(), F_SETLK, &unlock);
    replaceFile({}); // who waits watches for that
}

bool PreferencesOwnership::isWorker() const {
    const MutexLock lock(mutex_);
    return isWorker_;
}

std::optional<pid_t> PreferencesOwnership::worker() {
    const MutexLock lock(mutex_);
    if (isWorker_)
        return ::getpid();
    const std::optional<pid_t> known = file_ ? holder(work) : std::nullopt;
    return known || !open(0) ? known : holder(work);
}

std::optional<pid_t> PreferencesOwnership::rival() {
    const MutexLock lock(mutex_);
    if (!isWorker_ || !open(O_CREAT) || !hasRival_)
        return std::nullopt;
    hasRival_ = !take(work);
    return hasRival_ ? holder(work) : std::nullopt;
}

PreferencesOwnership::Upkeep::Upkeep(PreferencesOwnership &ownership) : ownership_(ownership) {
    const MutexLock lock(ownership.mutex_);
    if (!ownership.open(O_CREAT))
        error_ = ownership.error_;
    else if (ownership.isWorker_ || !ownership.holder(work))
        taken_ = ownership.take(upkeep);
}

PreferencesOwnership::Upkeep::~Upkeep() {
    const MutexLock lock(ownership_.mutex_);
    struct flock unlock = lockOf(F_UNLCK, upkeep);
    if (taken_)
        ::fcntl(ownership_.file_.get(), F_SETLK, &unlock);
}

} // namespace vmr
