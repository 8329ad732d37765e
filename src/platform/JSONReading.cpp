#include "platform/JSONReading.h"

#include "platform/Format.h"
#include "platform/Hexadecimal.h"
#include "platform/JSON.h"
#include "platform/Text.h"

#include <locale.h>
// Before its first allocation the parser counts on from a null pointer.
#ifdef __clang__
#pragma clang attribute push(__attribute__((no_sanitize("pointer-overflow"))), apply_to = function)
#endif
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#ifdef __clang__
#pragma clang attribute pop
#endif

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <new>

namespace vmr {
namespace {

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

std::size_t byteOrderMarkLength(std::string_view bytes) {
    return bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0;
}

/// The first byte of `bytes` that no UTF-8 has there.
std::size_t firstWrongByte(std::string_view bytes) {
    const std::size_t start = validUTF8Length(bytes);
    const auto lead = static_cast<unsigned char>(bytes[start]);
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    const auto mayBegin = [&](std::size_t count, char rest) {
        std::string whole(bytes.substr(start, count));
        whole.resize(length, rest);
        return isValidUTF8(whole);
    };
    std::size_t good = 0;
    while (start + good < bytes.size() &&
           (mayBegin(good + 1, '\x80') || mayBegin(good + 1, '\xBF')))
        ++good;
    return start + good;
}

/// The same of an escape, which begins at `start`.
std::size_t firstWrongOfEscape(std::string_view bytes, std::size_t start) {
    constexpr std::string_view pair = "\\uhhhh\\uhhhh";
    std::size_t good = 1;
    while (good + 1 < pair.size() && start + good < bytes.size() &&
           (pair[good] == 'h' ? hexadecimalDigitValue(bytes[start + good]) >= 0
                              : bytes[start + good] == pair[good]))
        ++good;
    return start + good;
}

/// For a parser that does not look at what it gets.
struct ThrowingAllocator {
    static void *Realloc(void *memory, std::size_t, std::size_t size) {
        if (void *const given = std::realloc(memory, size))
            return given;
        throw std::bad_alloc();
    }
    static void Free(void *memory) { std::free(memory); }
};

/// Takes the parser's events, whose names are the parser's. Each returns whether to go on.
class ValueReader : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ValueReader> {
public:
    using Size = rapidjson::SizeType;

    ValueReader(DictionaryConversion conversion, std::size_t depthLimit)
        : conversion_(conversion), builder_(depthLimit) {}

    bool Null() { return add(Value::null()); }
    bool Bool(bool value) { return add(Value::boolean(value)); }
    bool RawNumber(const char *text, Size size, bool) {
        followsString_ = false;
        const char *const end = text + size;
        std::int64_t integer = 0;
        if (const auto [read, error] = std::from_chars(text, end, integer);
            read == end && error == std::errc())
            return add(Value::integer(integer));
        std::uint64_t large = 0;
        if (const auto [read, error] = std::from_chars(text, end, large);
            read == end && error == std::errc())
            return add(Value::unsignedInteger(large));
        // As in no host's locale.
        static const locale_t plain = ::newlocale(LC_ALL_MASK, "C", nullptr);
        const double real = ::strtod_l(text, nullptr, plain);
        return std::isfinite(real) && add(Value::real(real));
    }
    bool String(const char *text, Size size, bool) {
        followsString_ = true;
        return isValidUTF8({text, size}) && add(Value::string(std::string(text, size)));
    }

    bool StartObject() { return builder_.beginDictionary() || refuseDepth(); }
    bool Key(const char *text, Size size, bool) {
        followsString_ = true;
        builder_.setKey(std::string(text, size));
        return isValidUTF8({text, size});
    }
    bool EndObject(Size) {
        Value dictionary = builder_.end();
        if (conversion_ != nullptr && !conversion_(dictionary))
            return refuse("Badly formed object");
        return add(std::move(dictionary));
    }
    bool StartArray() { return builder_.beginList() || refuseDepth(); }
    bool EndArray(Size) { return add(builder_.end()); }

    const std::optional<Value> &root() const { return builder_.root(); }
    JSONFailure failureOf(std::string_view bytes, const rapidjson::ParseResult &result) const;

private:
    bool add(Value value) { return builder_.add(std::move(value)) || refuse("Too many values"); }
    bool refuseDepth() { return refuse("Too many nested arrays or dictionaries"); }
    bool refuse(std::string_view reason) {
        refusal_ = reason;
        return false;
    }

    DictionaryConversion conversion_;
    ValueBuilder builder_;
    bool followsString_ = false;
    std::string_view refusal_;
};

JSONFailure ValueReader::failureOf(std::string_view bytes,
                                   const rapidjson::ParseResult &result) const {
    using namespace rapidjson;
    const ParseErrorCode code = result.Code();
    std::size_t index = result.Offset();
    if (!refusal_.empty())
        return {refusal_};
    const bool isInString = code >= kParseErrorStringUnicodeEscapeInvalidHex &&
                            code <= kParseErrorStringInvalidEncoding;
    if (validUTF8Length(bytes) < index)
        index = firstWrongByte(bytes);
    else if (isInString && index < bytes.size() && bytes[index] == '\\')
        index = firstWrongOfEscape(bytes, index);
    else if (code == kParseErrorTermination || code == kParseErrorNumberTooBig)
        index = std::min(bytes.find_first_not_of("+-.0123456789Ee", index), bytes.size()) - 1;

    if (root())
        return {"Garbage at end", index};
    if ((isInString || followsString_) && index == bytes.size())
        return {"Unterminated string", index};
    if (!builder_.isInDictionary())
        return {builder_.isTopLevel() ? "Invalid value" : "Badly formed array", index};
    const bool wantsKey =
        code == kParseErrorObjectMissName || code == kParseErrorObjectMissCommaOrCurlyBracket;
    const char found = index < bytes.size() ? bytes[index] : '\0';
    const bool isNumber = found == '-' || (found >= '0' && found <= '9');
    if (wantsKey && found != '"' && found != '}' && (isNumber || !followsString_))
        return {"No string key for value in object", index};
    return {"Badly formed object", index};
}

} // namespace

Expected<Value> parseJSON(std::string_view bytes, DictionaryConversion conversion,
                          std::size_t depthLimit) {
    // The parser takes a NUL for the end of its input; in JSON it may stand nowhere.
    if (const std::size_t nul = bytes.find('\0'); nul != std::string_view::npos)
        return readingErrorAt(bytes, {"Invalid character", nul});
    ValueReader reader(conversion, depthLimit);
    rapidjson::MemoryStream stream(bytes.data(), bytes.size());
    stream.src_ += byteOrderMarkLength(bytes);
    ThrowingAllocator allocator;
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, ThrowingAllocator> parser(
        &allocator);
    // Its own numbers are wrong from 21 digits on.
    const auto result = parser.Parse<rapidjson::kParseNumbersAsStringsFlag>(stream, reader);
    if (result.IsError())
        return readingErrorAt(bytes, reader.failureOf(bytes, result));
    return *reader.root();
}

Expected<Value> readJSON(std::string_view bytes) {
    const std::size_t start =
        std::min(bytes.find_first_not_of(" \t\r\n", byteOrderMarkLength(bytes)), bytes.size());
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
