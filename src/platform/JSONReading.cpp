#include "platform/JSONReading.h"

#include "platform/Format.h"
#include "platform/JSON.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace vmr {
namespace {

using Parser = nlohmann::json;

struct JSONFailure {
    /// What is wrong, without the place.
    std::string_view reason;
    /// The byte at which reading stopped.
    std::size_t index = 0;
};

PlatformError readingErrorAt(std::string_view bytes, JSONFailure failure) {
    const std::string_view before = bytes.substr(0, failure.index);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::size_t lineBreak = before.rfind('\n');
    const std::size_t column =
        lineBreak == std::string_view::npos ? before.size() : before.size() - lineBreak - 1;
    PlatformError error =
        platformError(NSCocoaErrorDomain, NSPropertyListReadCorruptError,
                      formatText("%@ around line %ld, column %lu.", failure.reason, line, column));
    put(error.userInfo, "NSJSONSerializationErrorIndex",
        Value::integer(static_cast<std::int64_t>(failure.index)));
    return error;
}

std::size_t startOfText(std::string_view bytes) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    const std::size_t mark = bytes.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    return std::min(bytes.find_first_not_of(" \t\r\n", mark), bytes.size());
}

/// Takes the parser's events. Each returns whether to go on.
class ValueReader {
public:
    ValueReader(std::size_t size, DictionaryConversion conversion, std::size_t depthLimit)
        : size_(size), conversion_(conversion), builder_(depthLimit) {}

    bool null() { return add(Value::null()); }
    bool boolean(bool value) { return add(Value::boolean(value)); }
    bool number_integer(std::int64_t value) { return add(Value::integer(value)); }
    bool number_unsigned(std::uint64_t value) { return add(Value::unsignedInteger(value)); }
    bool number_float(double value, const std::string &) { return add(Value::real(value)); }
    bool string(std::string &value) { return add(Value::string(std::move(value))); }
    bool binary(Parser::binary_t &) { return false; }

    bool start_object(std::size_t) { return builder_.beginDictionary() || refuseDepth(); }
    bool key(std::string &value) {
        builder_.setKey(std::move(value));
        return true;
    }
    bool end_object() {
        Value dictionary = builder_.end();
        if (conversion_ != nullptr && !conversion_(dictionary)) {
            failure_.reason = "Badly formed object";
            return false;
        }
        return add(std::move(dictionary));
    }
    bool start_array(std::size_t) { return builder_.beginList() || refuseDepth(); }
    bool end_array() { return add(builder_.end()); }

    bool parse_error(std::size_t position, const std::string &token,
                     const nlohmann::detail::exception &) {
        failure_.index = std::min(position == 0 ? 0 : position - 1, size_);
        failure_.reason = reasonFor(position, token);
        return false;
    }

    const std::optional<Value> &root() const { return builder_.root(); }
    const JSONFailure &failure() const { return failure_; }

private:
    bool add(Value value) {
        failure_.reason = "Too many values";
        return builder_.add(std::move(value));
    }

    bool refuseDepth() {
        failure_.reason = "Too many nested arrays or dictionaries";
        return false;
    }

    std::string_view reasonFor(std::size_t position, std::string_view token) const {
        if (builder_.root())
            return "Garbage at end";
        if (token.starts_with('"') && position > size_)
            return "Unterminated string";
        if (!builder_.isInDictionary())
            return builder_.isTopLevel() ? "Invalid value" : "Badly formed array";
        if (!builder_.awaitsValue() && !token.starts_with('"') && !token.ends_with('}'))
            return "No string key for value in object";
        return "Badly formed object";
    }

    std::size_t size_;
    DictionaryConversion conversion_;
    ValueBuilder builder_;
    JSONFailure failure_;
};

} // namespace

Expected<Value> parseJSON(std::string_view bytes, DictionaryConversion conversion,
                          std::size_t depthLimit) {
    // The parser takes a NUL for the end of its input; in JSON it may stand nowhere.
    if (const std::size_t nul = bytes.find('\0'); nul != std::string_view::npos)
        return readingErrorAt(bytes, {"Invalid character", nul});
    ValueReader reader(bytes.size(), conversion, depthLimit);
    if (Parser::sax_parse(bytes.begin(), bytes.end(), &reader, Parser::input_format_t::json, true))
        return *reader.root();
    return readingErrorAt(bytes, reader.failure());
}

Expected<Value> readJSON(std::string_view bytes) {
    const std::size_t start = startOfText(bytes);
    if (start == bytes.size())
        return platformError(NSCocoaErrorDomain, NSPropertyListReadCorruptError,
                             "Unable to parse empty data.");
    if (bytes[start] != '{' && bytes[start] != '[')
        return readingErrorAt(bytes, {"JSON text did not start with array or object and option to "
                                      "allow fragments not set.",
                                      start});
    return parseJSON(bytes);
}

} // namespace vmr
