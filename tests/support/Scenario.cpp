#include "support/Scenario.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

namespace vmr::test {
namespace {

using Lines = std::vector<std::string>;

Lines linesOf(std::istream &&stream) {
    Lines lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

Lines played(const Lines &recorded, const std::function<std::string(const std::string &)> &run) {
    std::ostringstream text;
    for (const std::string &line : recorded) {
        if (line.starts_with("> "))
            text << line << '\n' << run(line.substr(2));
        else if (line.empty() || line.starts_with('#'))
            text << line << '\n';
    }
    return linesOf(std::istringstream(text.str()));
}

/// What lies between the lines that both begin and end with.
void showDifference(const Lines &recorded, const Lines &seen) {
    const auto head = std::mismatch(recorded.begin(), recorded.end(), seen.begin(), seen.end());
    const auto tail = std::mismatch(recorded.rbegin(), std::make_reverse_iterator(head.first),
                                    seen.rbegin(), std::make_reverse_iterator(head.second));
    std::cout << "Differs from line " << head.first - recorded.begin() + 1 << " on:\n";
    std::for_each(head.first, tail.first.base(),
                  [](const std::string &line) { std::cout << "- " << line << '\n'; });
    std::for_each(head.second, tail.second.base(),
                  [](const std::string &line) { std::cout << "+ " << line << '\n'; });
}

} // namespace

int playScenario(const char *path, const std::function<std::string(const std::string &)> &run) {
    const std::string name = path == nullptr ? "" : path;
    const Lines recorded = linesOf(std::ifstream(name));
    if (recorded.empty()) {
        std::cerr << '"' << name << "\" holds no scenario; name a text of tests/golden\n";
        return 1;
    }
    const Lines seen = played(recorded, run);
    if (std::getenv("VELMORA_RECORD") != nullptr) {
        std::ofstream file(name);
        for (const std::string &line : seen)
            file << line << '\n';
    } else if (seen != recorded) {
        showDifference(recorded, seen);
        return 1;
    }
    return 0;
}

} // namespace vmr::test
