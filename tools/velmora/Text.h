#pragma once

#include <string>
#include <string_view>

namespace velmora {

bool isValidUTF8(std::string_view text);
/// The text with every byte that is not printable ASCII as "\xNN", for messages.
std::string escaped(std::string_view text);

} // namespace velmora
