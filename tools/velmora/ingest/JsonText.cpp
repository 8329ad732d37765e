#include "ingest/JsonText.h"

#include <set>

namespace velmora::ingest {

JsonText readJson(const std::string &text) {
    constexpr int deepest = 512;
    JsonText result;
    bool isTooDeep = false;
    std::vector<std::set<std::string>> keys;
    const auto watch = [&](int depth, nlohmann::json::parse_event_t event, nlohmann::json &parsed) {
        if (depth > deepest) {
            isTooDeep = true;
            return false;
        }
        if (event == nlohmann::json::parse_event_t::object_start)
            keys.emplace_back();
        else if (event == nlohmann::json::parse_event_t::object_end)
            keys.pop_back();
        else if (event == nlohmann::json::parse_event_t::key &&
                 !keys.back().insert(parsed.get<std::string>()).second)
            result.repeatedKeys.push_back(parsed.get<std::string>());
        return true;
    };
    try {
        result.value = nlohmann::json::parse(text, watch);
    } catch (const nlohmann::json::parse_error &error) {
        result.problem = "the body is not JSON: byte " + std::to_string(error.byte) +
                         " is wrong or something is missing there";
        return result;
    }
    if (isTooDeep)
        result.problem = "the JSON is nested more than 512 levels deep";
    else if (!result.value.is_structured())
        result.problem = "the JSON is " + typeInWords(result.value) + ", not an object";
    return result;
}

std::string typeInWords(const nlohmann::json &value) {
    switch (value.type()) {
    case nlohmann::json::value_t::null:
        return "null";
    case nlohmann::json::value_t::object:
        return "an object";
    case nlohmann::json::value_t::array:
        return "a list";
    case nlohmann::json::value_t::string:
        return "a string";
    case nlohmann::json::value_t::boolean:
        return "a boolean";
    default:
        return "a number";
    }
}

} // namespace velmora::ingest
