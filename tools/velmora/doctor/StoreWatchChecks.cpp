#include "doctor/Checks.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace velmora::doctor {

void checkStoreWatch(const Subject &, Findings &findings) {
    const int notifications = ::inotify_init1(IN_CLOEXEC);
    const char *limit = "fs.inotify.max_user_instances, or the limit of open files";
    bool works = notifications >= 0;
    if (works) {
        limit = "fs.inotify.max_user_watches";
        works = ::inotify_add_watch(notifications, "/", IN_DELETE_SELF) >= 0;
    }
    const std::string reason = std::strerror(errno);
    if (notifications >= 0)
        ::close(notifications);
    if (works)
        findings.ok("store.watch", "what other processes write into the store is noticed");
    else
        findings.warn("store.watch",
                      "what other processes write into the store is seen only at the next start (" +
                          reason + ")",
                      std::string("raise ") + limit);
}

} // namespace velmora::doctor
