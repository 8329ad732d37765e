#include "ingest/JsonText.h"

#include "Text.h"

#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <numeric>

namespace velmora::ingest {
namespace {

using nlohmann::json;
using Size = rapidjson::SizeType;

constexpr std::size_t deepest = 512;
constexpr std::size_t mostValues = 200'000;
constexpr std::size_t longestQuoted = 200;

/// False where the parser has taken the escape of half a character for a whole one.
bool isText(std::string_view text) {
    for (std::size_t at = text.find('\xED'); at < text.size(); at = text.find('\xED', at + 1))
        if (at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) >= 0xA0)
            return false;
    return true;
}

/// Makes the tree of a text, and stops where it would be too large. Its functions' names and types
/// are the parser's.
class Tree : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Tree> {
public:
    std::string problem;
    json root;
    Problems repeatedKeys;

    bool Null() { return add(nullptr); }
    bool Bool(bool value) { return add(value); }
    bool RawNumber(const char *text, Size size, bool /*copy*/) {
        const char *const end = text + size;
        std::int64_t whole = 0;
        std::uint64_t large = 0;
        if (const auto [read, error] = std::from_chars(text, end, whole);
            *text == '-' && read == end && error == std::errc())
            return add(whole);
        if (const auto [read, error] = std::from_chars(text, end, large);
            read == end && error == std::errc())
            return add(large);
        const double real = std::strtod(std::string(text, size).c_str(), nullptr);
        return std::isfinite(real) && add(real);
    }
    bool String(const char *text, Size size, bool /*copy*/) {
        return isText({text, size}) && add(std::string(text, size));
    }
    bool StartObject() { return begin(json::object()); }
    bool StartArray() { return begin(json::array()); }
    bool EndObject(Size /*members*/) { return end(); }
    bool EndArray(Size /*values*/) { return end(); }

    bool Key(const char *text, Size size, bool /*copy*/) {
        if (!isText({text, size}))
            return false;
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

JsonText readJson(std::string text) {
    using namespace rapidjson;
    // The parser's own numbers are wrong from 21 digits on.
    constexpr unsigned exactly = kParseInsituFlag | kParseNumbersAsStringsFlag;
    Tree tree;
    InsituStringStream stream(text.data());
    // What devices send is ASCII, whose encoding needs no look. The tree bounds the recursion.
    const bool isASCII =
        (std::reduce(text.begin(), text.end(), char{}, std::bit_or<char>()) & 0x80) == 0;
    const ParseResult result =
        isASCII ? Reader().Parse<exactly>(stream, tree)
                : Reader().Parse<exactly | kParseValidateEncodingFlag>(stream, tree);
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
