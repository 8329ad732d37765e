#include "Shown.h"

#include "platform/Hexadecimal.h"
#include "platform/SHA256.h"
#include "platform/TaggedJSON.h"

#include <algorithm>

namespace vmr::test {
namespace {

constexpr std::size_t mostTextShown = 3000;
constexpr std::size_t mostBytesShown = 440;
constexpr std::size_t bytesInALine = 88;

void replaceAll(std::string &text, const std::string &part, const std::string &by) {
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += by.size())
        text.replace(at, part.size(), by);
}

} // namespace

std::string shown(const Value &value) {
    if (const Data *data = value.asData())
        return std::to_string(data->size()) + " bytes\n" + shownBytes(data->bytes());
    return writeTaggedJSON(value);
}

std::string shownBytes(std::string_view bytes) {
    const auto isPlain = [](char byte) { return byte >= ' ' && byte <= '~'; };
    const bool isText = std::all_of(bytes.begin(), bytes.end(), isPlain);
    const std::size_t most = isText ? mostTextShown : mostBytesShown;
    std::string text;
    std::size_t width = 0;
    for (const char byte : bytes.substr(0, most)) {
        std::string one(1, byte);
        if (!isPlain(byte))
            appendHexadecimal(one = "\\x", {&byte, 1});
        if (!isText && width + one.size() > bytesInALine)
            text += '\n', width = 0;
        text += one;
        width += one.size();
    }
    if (bytes.size() > most)
        appendHexadecimal(text += "...\nSHA-256 ", bytesOf(sha256(bytes)));
    return text;
}

std::string asLines(std::string text,
                    const std::vector<std::pair<std::string, std::string>> &names) {
    for (const auto &[from, to] : names)
        replaceAll(text, from, to);
    replaceAll(text += "\n", "\n", "\n    ");
    text.resize(text.size() - 4);
    // Editors would take them away.
    replaceAll(text, " \n", "<blank>\n");
    return text;
}

} // namespace vmr::test
