#include "support/Transcript.h"

#include "platform/Hexadecimal.h"
#include "platform/SHA256.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace vmr::test {
namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t mostTextShown = 3000;
constexpr std::size_t mostBytesShown = 440;
constexpr std::size_t bytesInALine = 88;
constexpr std::ptrdiff_t mostLinesShown = 30;

void replaceAll(std::string &text, const std::string &part, const std::string &by) {
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += by.size())
        text.replace(at, part.size(), by);
}

Lines linesOf(const std::string &text) {
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/// What lies between the lines that both begin and end with.
std::string difference(const Lines &recorded, const Lines &seen) {
    const auto head = std::mismatch(recorded.begin(), recorded.end(), seen.begin(), seen.end());
    const auto tail = std::mismatch(recorded.rbegin(), std::make_reverse_iterator(head.first),
                                    seen.rbegin(), std::make_reverse_iterator(head.second));
    std::string text;
    const auto show = [&text](const char *sign, auto from, auto to) {
        for (auto line = from; line != to && line - from < mostLinesShown; ++line)
            text += sign + *line + "\n";
    };
    text += "from line " + std::to_string(head.first - recorded.begin() + 1) + ":\n";
    show("- ", head.first, tail.first.base());
    show("+ ", head.second, tail.second.base());
    return text;
}

} // namespace

void Transcript::heading(std::string_view what) {
    text_.append(text_.empty() ? "== " : "\n== ").append(what).append("\n");
}

void Transcript::add(const std::string &seen) {
    std::string lines = seen;
    for (const auto &[text, name] : names_)
        replaceAll(lines, text, name);
    // Editors would take them away.
    replaceAll(lines, " \n", "<blank>\n");
    if (lines.ends_with(' '))
        lines.replace(lines.size() - 1, 1, "<blank>");
    replaceAll(lines, "\n", "\n    ");
    replaceAll(lines, "\n    \n", "\n\n");
    text_ += lines + "\n";
}

void Transcript::rename(std::string text, std::string name) {
    names_.emplace_back(std::move(text), std::move(name));
}

void Transcript::expectRecorded(const std::string &name) const {
    const std::string path = RECORDINGS + name + ".txt";
    if (std::getenv("VELMORA_RECORD") != nullptr) {
        std::ofstream(path) << text_;
        return;
    }
    std::stringstream recorded;
    recorded << std::ifstream(path).rdbuf();
    if (recorded.str() != text_)
        ADD_FAILURE() << "differs from tests/golden/" << name << ".txt "
                      << difference(linesOf(recorded.str()), linesOf(text_));
}

std::string Transcript::bytes(std::string_view bytes) {
    const auto isPlain = [](char byte) { return byte >= ' ' && byte <= '~'; };
    const bool isText = std::all_of(bytes.begin(), bytes.end(), isPlain);
    const std::size_t most = isText ? mostTextShown : mostBytesShown;
    std::string text;
    std::size_t width = 0;
    for (const char byte : bytes.substr(0, most)) {
        std::string shown(1, byte);
        if (!isPlain(byte))
            appendHexadecimal(shown = "\\x", {&byte, 1});
        if (!isText && width + shown.size() > bytesInALine)
            text += '\n', width = 0;
        text += shown;
        width += shown.size();
    }
    if (bytes.size() > most)
        appendHexadecimal(text += "...\nSHA-256 ", bytesOf(sha256(bytes)));
    return text;
}

} // namespace vmr::test
