#include "platform/Data.h"

#include "platform/Hexadecimal.h"
#include "platform/NumberText.h"

namespace vmr {
namespace {

constexpr std::size_t longestShownWhole = 24;
constexpr std::size_t shownAtStart = 16;
constexpr std::size_t shownAtEnd = 8;
constexpr std::size_t groupSize = 4;

void appendGroups(std::string &out, std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += groupSize) {
        appendHexadecimal(out, bytes.substr(at, groupSize));
        out += ' ';
    }
}

} // namespace

std::string Data::description() const {
    const std::string_view all = bytes();
    std::string text = "{length = ";
    appendInteger(text, all.size());
    text += ", bytes = 0x";
    if (all.size() <= longestShownWhole) {
        appendHexadecimal(text, all);
    } else {
        appendGroups(text, all.substr(0, shownAtStart));
        text += "... ";
        appendGroups(text, all.substr(all.size() - shownAtEnd));
    }
    text += '}';
    return text;
}

} // namespace vmr
