#include "platform/CurrentDevice.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

namespace vmr {
namespace {

/// Takes the number in front of the next dot off the text.
int takePiece(std::string_view &version) {
    const std::string_view piece = version.substr(0, version.find('.'));
    int number = 0;
    const auto result = std::from_chars(piece.data(), piece.data() + piece.size(), number);
    if (result.ec == std::errc::result_out_of_range)
        number = std::numeric_limits<int>::max();
    version.remove_prefix(std::min(piece.size() + 1, version.size()));
    return number;
}

} // namespace

bool isVersionAtLeast(std::string_view version, int major, int minor) {
    const int ownMajor = takePiece(version);
    const int ownMinor = takePiece(version);
    return std::pair(ownMajor, ownMinor) >= std::pair(major, minor);
}

bool CurrentDevice::isSystemVersionAtLeast(int major, int minor) const {
    return isVersionAtLeast(systemVersion(), major, minor);
}

} // namespace vmr
