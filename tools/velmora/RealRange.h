#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace velmora {

/// "nan" lies in every CLI::Range.
inline CLI::Validator realRange(double least, double most) {
    const auto refuseNoNumber = [](const std::string &text) -> std::string {
        return text.find_first_of("nN") == std::string::npos ? ""
                                                             : "\"" + text + "\" is not a number";
    };
    return CLI::Range(least, most) & CLI::Validator(refuseNoNumber, "");
}

} // namespace velmora
