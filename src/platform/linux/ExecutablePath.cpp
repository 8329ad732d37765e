#include "platform/linux/ExecutablePath.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>

namespace vmr {

std::string executablePath() {
    std::array<char, PATH_MAX> target;
    const ssize_t length = ::readlink("/proc/self/exe", target.data(), target.size());
    return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

} // namespace vmr
