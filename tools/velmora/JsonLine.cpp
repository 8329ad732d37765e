#include "JsonLine.h"

#include "Text.h"

#include <cstdio>

namespace velmora {

void writeLine(const nlohmann::ordered_json &value) {
    const std::string line =
        visible(value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace)) +
        "\n";
    // One call under the stream's own lock, so that lines of several threads never mix.
    flockfile(stdout);
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
    funlockfile(stdout);
}

} // namespace velmora
