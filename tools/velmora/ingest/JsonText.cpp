#include "ingest/JsonText.h"

#include "Text.h"

#include <set>

namespace velmora::ingest {
namespace {

using nlohmann::json;

constexpr std::size_t deepest = 512;
constexpr std::size_t mostValues = 200'000;
constexpr std::size_t longestQuoted = 200;

/// Looks at a text before a tree is made of it, and stops where the tree would be too large. Its
/// functions' names and types are the parser's.
class Look : public nlohmann::json_sax<json> {
public:
    std::string problem;
    Problems repeatedKeys;

    bool null() override { return value(); }
    bool boolean(bool /*value*/) override { return value(); }
    bool number_integer(number_integer_t /*value*/) override { return value(); }
    bool number_unsigned(number_unsigned_t /*value*/) override { return value(); }
    bool number_float(number_float_t /*value*/, const string_t & /*text*/) override {
        return value();
    }
    bool string(string_t & /*value*/) override { return value(); }
    bool binary(binary_t & /*value*/) override { return value(); }
    bool start_object(std::size_t /*count*/) override { return begin(); }
    bool start_array(std::size_t /*count*/) override { return begin(); }
    bool end_object() override { return end(); }
    bool end_array() override { return end(); }

    bool key(string_t &key) override {
        if (!keys_.back().insert(key).second && repeatedKeys.size() < mostProblems)
            repeatedKeys.push_back(key);
        return true;
    }
    bool parse_error(std::size_t position, const std::string & /*token*/,
                     const json::exception & /*error*/) override {
        return stop("the body is not JSON: byte " + std::to_string(position) +
                    " is wrong or something is missing there");
    }

private:
    bool stop(std::string text) {
        problem = std::move(text);
        return false;
    }
    bool value() {
        return ++values_ <= mostValues ||
               stop("the JSON holds more than " + std::to_string(mostValues) + " values");
    }
    bool begin() {
        keys_.emplace_back();
        return value() &&
               (keys_.size() <= deepest || stop("the JSON is nested more than 512 levels deep"));
    }
    bool end() {
        keys_.pop_back();
        return true;
    }

    std::size_t values_ = 0;
    std::vector<std::set<std::string>> keys_;
};

} // namespace

JsonText readJson(const std::string &text) {
    Look look;
    if (!json::sax_parse(text, &look))
        return {std::move(look.problem), {}, {}};
    JsonText result{{}, json::parse(text), std::move(look.repeatedKeys)};
    if (!result.value.is_structured())
        result.problem = "the JSON is " + typeInWords(result.value) + ", not an object";
    return result;
}

std::string inQuotes(std::string_view text) {
    return "\"" + shortened(text, longestQuoted) + "\"";
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
