#include "platform/linux/SmallFile.h"

#include "platform/linux/OwnedDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace vmr {

int readSmallFile(const char *path, std::size_t limit, std::string &content) {
    const OwnedDescriptor file(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return errno;
    if (!S_ISREG(status.st_mode))
        return EINVAL;

    for (;;) {
        char piece[4096];
        const ssize_t count = ::read(file.get(), piece, sizeof piece);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return errno;
        content.append(piece, static_cast<std::size_t>(count));
        if (content.size() > limit)
            return EFBIG;
        if (static_cast<std::size_t>(count) < sizeof piece)
            return 0; // a regular file gives less at its end alone
    }
}

} // namespace vmr
