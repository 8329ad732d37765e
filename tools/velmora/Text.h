#pragma once

#include <string>
#include <string_view>

namespace velmora {

bool isValidUTF8(std::string_view text);
/// The text with every byte that is not printable ASCII as "\xNN", for messages.
std::string escaped(std::string_view text);
/// The text with every character that cannot be seen or turns the direction of writing as
/// "\uNNNN", also within JSON, and every byte that belongs to no character as "\xNN".
std::string visible(std::string_view text);
/// At most so many bytes of a text, with "…" behind them when it is longer. No character is cut.
std::string shortened(std::string_view text, std::size_t bytes);

} // namespace velmora
