#include "ingest/JsonText.h"

#include "Text.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace velmora::ingest {
namespace {

using nlohmann::json;
using Size = rapidjson::SizeType;

constexpr std::size_t deepest = 512;
constexpr std::size_t mostValues = 200'000;
constexpr std::size_t longestQuoted = 200;

/// Makes the tree of a text, and stops where it would be too large. Its functions' names and types
/// are the parser's.
class Tree : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Tree> {
public:
    std::string problem;
    json root;
    Problems repeatedKeys;

    bool Null() { return add(nullptr); }
    bool Bool(bool value) { return add(value); }
    bool Int(int value) { return add(value); }
    bool Uint(unsigned value) { return add(value); }
    bool Int64(std::int64_t value) { return add(value); }
    bool Uint64(std::uint64_t value) { return add(value); }
    bool Double(double value) { return add(value); }
    bool String(const char *text, Size size, bool /*copy*/) { return add(std::string(text, size)); }
    bool StartObject() { return begin(json::object()); }
    bool StartArray() { return begin(json::array()); }
    bool EndObject(Size /*members*/) { return end(); }
    bool EndArray(Size /*values*/) { return end(); }

    bool Key(const char *text, Size size, bool /*copy*/) {
        auto &members = open_.back()->get_ref<json::object_t &>();
        const auto [member, isNew] = members.try_emplace(std::string(text, size));
        if (!isNew && repeatedKeys.size() < mostProblems)
            repeatedKeys.push_back(member->first);
        place_ = &member->second;
        return true;
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
    using namespace rapidjson;
    constexpr unsigned strictly =
        kParseIterativeFlag | kParseValidateEncodingFlag | kParseFullPrecisionFlag;
    Tree tree;
    MemoryStream stream(text.data(), text.size());
    const ParseResult result = Reader().Parse<strictly>(stream, tree);
    const std::size_t end = result.IsError() ? result.Offset() : stream.Tell();
    // A zero byte is the end of all for the parser.
    if (tree.problem.empty() && (result.IsError() || end < text.size()))
        tree.problem = "the body is not JSON: byte " + std::to_string(end + 1) +
                       " is wrong or something is missing there";
    if (tree.problem.empty() && !tree.root.is_structured())
        tree.problem = "the JSON is " + typeInWords(tree.root) + ", not an object";
    return {std::move(tree.problem), std::move(tree.root), std::move(tree.repeatedKeys)};
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
