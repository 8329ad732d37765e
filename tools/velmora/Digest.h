#pragma once

#include <string>
#include <string_view>

namespace velmora {

/// The digest in lower-case hexadecimal digits.
std::string sha1Text(std::string_view bytes);
std::string sha256Text(std::string_view bytes);

} // namespace velmora
