#pragma once

#include "platform/PlatformError.h"

#include <cstddef>
#include <string>

namespace vmr {

/// The content of a regular file, or the errno of why it cannot be had: EINVAL for what is no
/// regular file, EFBIG for one of more than `limit` bytes. Never waits for a pipe or a device.
Expected<std::string> readSmallFile(const std::string &path, std::size_t limit);

} // namespace vmr
