#include "tcf/Lines.h"

namespace velmora::tcf {
namespace {

constexpr std::size_t indent = 2;
constexpr std::size_t labelWidth = 22;
constexpr std::size_t lineWidth = 100;

std::string padded(std::string_view text, std::size_t width) {
    std::string all(text);
    all.resize(std::max(width, all.size() + 1), ' ');
    return all;
}

} // namespace

void Lines::heading(std::string_view text) {
    if (!text_.empty())
        text_ += '\n';
    text_ += text;
    text_ += '\n';
}

void Lines::row(std::string_view label, std::string_view text) {
    add(padded(label, labelWidth), text);
}

void Lines::remark(std::string_view text) {
    add("! ", text);
}

void Lines::add(std::string_view begin, std::string_view text) {
    std::string line = std::string(indent, ' ') + std::string(begin);
    const std::string below(line.size(), ' ');
    const std::size_t width = lineWidth - below.size();
    while (text.size() > width) {
        const std::size_t end = text.rfind(' ', width);
        if (end == std::string_view::npos || end == 0)
            break;
        text_ += line + std::string(text.substr(0, end)) + '\n';
        line = below;
        text.remove_prefix(end + 1);
    }
    line += text;
    text_ += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
}

} // namespace velmora::tcf
