#pragma once

#include <cstddef>
#include <string>

namespace vmr {

/// Appends the content of a regular file. 0, or the errno of why it cannot be had: EINVAL for what
/// is no regular file, EFBIG for one of more than `limit` bytes. Never waits for a pipe or a
/// device.
int readSmallFile(const char *path, std::size_t limit, std::string &content);

} // namespace vmr
