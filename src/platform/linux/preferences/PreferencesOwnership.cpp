#include "platform/linux/preferences/PreferencesOwnership.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

namespace vmr {

bool PreferencesOwnership::take(const std::string &path) {
    if (lock_)
        return true;
    OwnedDescriptor lock(
        ::open((path + "-lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    const bool isLocked = lock && ::flock(lock.get(), LOCK_EX | LOCK_NB) == 0;
    isElsewhere_ = lock && !isLocked && errno == EWOULDBLOCK;
    if (!isLocked)
        return false;
    ::fchmod(lock.get(), 0600);
    lock_ = std::move(lock);
    return true;
}

} // namespace vmr
