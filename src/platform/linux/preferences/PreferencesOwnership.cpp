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

} // namespace

PreferencesOwnership::~PreferencesOwnership() {
    const MutexLock lock(mutex_);
    // Closing the file would take the locks of another copy of the library in this process away.
    if (isShared_ || isForkedChild())
        static_cast<void>(file_.release());
}

bool PreferencesOwnership::open(int flags) {
    if (file_)
        return true;
    file_ = OwnedDescriptor(::open((resolvedFolder(path_) + "-lock").c_str(),
                                   O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | flags, 0600));
    return file_ && (flags == 0 || ::fchmod(file_.get(), 0600) == 0);
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
    if (holder(what))
        return false;
    struct flock lock = lockOf(F_WRLCK, what);
    // A file system that knows no locks keeps nobody out.
    return ::fcntl(file_.get(), F_SETLK, &lock) == 0 || (errno != EAGAIN && errno != EACCES);
}

bool PreferencesOwnership::takeWork() {
    const MutexLock lock(mutex_);
    // Where there can be no lock, in a folder that is read-only say, nobody can be kept out.
    isWorker_ = isWorker_ || !open(O_CREAT) || take(work);
    return isWorker_;
}

bool PreferencesOwnership::isWorker() const {
    const MutexLock lock(mutex_);
    return isWorker_;
}

std::optional<pid_t> PreferencesOwnership::worker() {
    const MutexLock lock(mutex_);
    if (isWorker_)
        return ::getpid();
    return open(0) ? holder(work) : std::nullopt;
}

PreferencesOwnership::Upkeep::Upkeep(PreferencesOwnership &ownership) : ownership_(ownership) {
    const MutexLock lock(ownership.mutex_);
    if (!ownership.open(O_CREAT))
        error_ = errno;
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
