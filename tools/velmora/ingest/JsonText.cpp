#include "ingest/JsonText.h"

#include "Text.h"
#include "ingest/PlainJson.h"

namespace velmora::ingest {
namespace {

using nlohmann::json;

constexpr std::size_t deepest = 512;
constexpr std::size_t mostValues = 200'000;
constexpr std::size_t longestQuoted = 200;

/// Makes the tree of a text, and stops where it would be too large. Its functions' names and types
/// are the parser's.
class Tree : public nlohmann::json_sax<json> {
public:
    std::string problem;
    json root;
    Problems repeatedKeys;

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t & /*text*/) override {
        return add(value);
    }
    bool string(string_t &value) override { return add(std::move(value)); }
    bool binary(binary_t & /*value*/) override { return true; } // no text holds one
    bool start_object(std::size_t /*count*/) override { return begin(json::object()); }
    bool start_array(std::size_t /*count*/) override { return begin(json::array()); }
    bool end_object() override { return end(); }
    bool end_array() override { return end(); }

    bool key(string_t &key) override {
        auto &members = open_.back()->get_ref<json::object_t &>();
        const auto [member, isNew] = members.try_emplace(key);
        if (!isNew && repeatedKeys.size() < mostProblems)
            repeatedKeys.push_back(key);
        place_ = &member->second;
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
    bool add(json value) {
        if (++values_ > mostValues)
            return stop("the JSON holds more than " + std::to_string(mostValues) + " values");
        if (!open_.empty() && open_.back()->is_array())
            place_ = &open_.back()->emplace_back();
        *place_ = std::move(value);
        return true;
    }
    bool begin(json value) {
        if (!add(std::move(value)))
            return false;
        open_.push_back(place_);
        return open_.size() <= deepest || stop("the JSON is nested more than 512 levels deep");
    }
    bool end() {
        open_.pop_back();
        return true;
    }

    std::size_t values_ = 0;
    /// From the root down. Of a list only the last value is open, so none of these moves.
    std::vector<json *> open_;
    json *place_ = &root;
};

} // namespace

JsonText readJson(const std::string &text) {
    std::optional<Tree> tree(std::in_place);
    if (!readPlainJson(text, *tree) && !json::sax_parse(text, &tree.emplace()))
        return {std::move(tree->problem), {}, {}};
    JsonText result{{}, std::move(tree->root), std::move(tree->repeatedKeys)};
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
