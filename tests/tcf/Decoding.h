#pragma once

#include "tcf/TCFJSON.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>
#include <string>
#include <variant>

namespace vmr::test {

constexpr std::int64_t decodedAt = 1'800'000'000; // January 2027

inline velmora::tcf::TCFString decoded(const std::string &text) {
    auto result = velmora::tcf::decode(text, decodedAt);
    if (const auto *failure = std::get_if<velmora::tcf::Failure>(&result)) {
        ADD_FAILURE() << text << ": " << failure->text;
        return {};
    }
    return std::get<velmora::tcf::TCFString>(std::move(result));
}

/// Empty when the text can be decoded.
inline velmora::tcf::Failure failureOf(std::string_view text) {
    const auto result = velmora::tcf::decode(text, decodedAt);
    const auto *failure = std::get_if<velmora::tcf::Failure>(&result);
    return failure != nullptr ? *failure : velmora::tcf::Failure{};
}

inline std::string jsonText(const std::string &text) {
    std::ostringstream out;
    writeJSON(out, velmora::tcf::decode(text, decodedAt));
    return out.str();
}

inline nlohmann::json jsonOf(const std::string &text) {
    return nlohmann::json::parse(jsonText(text));
}

} // namespace vmr::test
