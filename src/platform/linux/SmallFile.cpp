#include "platform/linux/SmallFile.h"

#include "platform/linux/OwnedDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vmr {
namespace {

PlatformError failed(int error) {
    return platformError(NSPOSIXErrorDomain, error, std::generic_category().message(error));
}

} // namespace

Expected<std::string> readSmallFile(const std::string &path, std::size_t limit) {
    const OwnedDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file)
        return failed(errno);
    struct stat status {};
    if (::fstat(file.get(), &status) != 0)
        return failed(errno);
    if (!S_ISREG(status.st_mode))
        return failed(EINVAL);

    std::string bytes;
    for (;;) {
        char piece[4096];
        const ssize_t count = ::read(file.get(), piece, sizeof piece);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return failed(errno);
        bytes.append(piece, static_cast<std::size_t>(count));
        if (bytes.size() > limit)
            return failed(EFBIG);
        if (static_cast<std::size_t>(count) < sizeof piece)
            return bytes; // a regular file gives less at its end alone
    }
}

} // namespace vmr
