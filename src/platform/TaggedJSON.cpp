#include "platform/TaggedJSON.h"

#include "platform/Hexadecimal.h"
#include "platform/JSONReading.h"
#include "platform/JSONText.h"
#include "platform/KeyedArchive.h"
#include "platform/NumberText.h"

#include <cmath>
#include <limits>

namespace vmr {
namespace {

constexpr std::string_view dateTag = "$date";
constexpr std::string_view dataTag = "$data";
constexpr std::string_view realTag = "$real";

void write(std::string &out, const Value &value);

void openTag(std::string &out, std::string_view tag) {
    out += '{';
    appendJSONString(out, tag);
    out += ':';
}

std::string_view nonFiniteName(double real) {
    if (std::isnan(real))
        return "nan";
    return real > 0 ? "inf" : "-inf";
}

/// The fewest digits that read back as the same number, and always as a real.
void writeReal(std::string &out, double real) {
    if (!std::isfinite(real)) {
        openTag(out, realTag);
        appendJSONString(out, nonFiniteName(real));
        out += '}';
        return;
    }
    char buffer[48];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, real).ptr;
    const std::string_view digits(buffer, static_cast<std::size_t>(end - buffer));
    out += digits;
    if (digits.find_first_of(".e") == std::string_view::npos)
        out += ".0";
}

void writeDate(std::string &out, Date date) {
    openTag(out, dateTag);
    writeReal(out, date.secondsSince1970);
    out += '}';
}

void writeData(std::string &out, const Data &data) {
    openTag(out, dataTag);
    out += '"';
    appendHexadecimal(out, data.bytes());
    out += "\"}";
}

void writeList(std::string &out, const List &list) {
    out += '[';
    std::string_view separator;
    for (const Value &value : list) {
        out += separator;
        write(out, value);
        separator = ",";
    }
    out += ']';
}

void writeDictionary(std::string &out, const Dictionary &dictionary) {
    out += '{';
    std::string_view separator;
    for (const auto &[key, value] : dictionary) {
        out += separator;
        const bool looksLikeTag = dictionary.size() == 1 && key.starts_with('$');
        appendJSONString(out, looksLikeTag ? "$" + key : key);
        out += ':';
        write(out, value);
        separator = ",";
    }
    out += '}';
}

void write(std::string &out, const Value &value) {
    switch (value.type()) {
    case Value::Type::absent:
    case Value::Type::null:
        out += "null";
        break;
    case Value::Type::boolean:
        out += *value.asBoolean() ? "true" : "false";
        break;
    case Value::Type::integer:
        appendInteger(out, *value.asInteger());
        break;
    case Value::Type::real:
        writeReal(out, *value.asReal());
        break;
    case Value::Type::string:
        appendJSONString(out, *value.asString());
        break;
    case Value::Type::date:
        writeDate(out, *value.asDate());
        break;
    case Value::Type::data:
        writeData(out, *value.asData());
        break;
    case Value::Type::list:
        writeList(out, *value.asList());
        break;
    case Value::Type::dictionary:
        writeDictionary(out, *value.asDictionary());
        break;
    case Value::Type::record:
        // Records have no text form; their archive keeps everything they hold.
        writeData(out, archivedDataWithRootObject(value));
        break;
    }
}

std::optional<Value> readDate(const Value &content) {
    if (content.type() == Value::Type::integer)
        return Value::date(Date{static_cast<double>(*content.asInteger())});
    if (content.type() == Value::Type::real)
        return Value::date(Date{*content.asReal()});
    return std::nullopt;
}

std::optional<Value> readData(const Value &content) {
    const std::string *digits = content.asString();
    if (digits == nullptr || digits->size() % 2 != 0)
        return std::nullopt;
    std::string bytes;
    bytes.reserve(digits->size() / 2);
    for (std::size_t at = 0; at < digits->size(); at += 2) {
        const int high = hexadecimalDigitValue((*digits)[at]);
        const int low = hexadecimalDigitValue((*digits)[at + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
    }
    return Value::data(Data(std::move(bytes)));
}

std::optional<Value> readReal(const Value &content) {
    const std::string *name = content.asString();
    if (name == nullptr)
        return std::nullopt;
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double real : {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity}) {
        if (*name == nonFiniteName(real))
            return Value::real(real);
    }
    return std::nullopt;
}

std::optional<Value> readTag(const std::string &key, const Value &content) {
    if (key.starts_with("$$"))
        return Value::dictionary({{key.substr(1), content}});
    if (key == dateTag)
        return readDate(content);
    if (key == dataTag)
        return readData(content);
    if (key == realTag)
        return readReal(content);
    return std::nullopt;
}

bool convertTags(Value &value) {
    const Dictionary &dictionary = *value.asDictionary();
    if (dictionary.size() != 1 || !dictionary.begin()->first.starts_with('$'))
        return true;
    std::optional<Value> converted = readTag(dictionary.begin()->first, dictionary.begin()->second);
    if (!converted)
        return false;
    value = *std::move(converted);
    return true;
}

} // namespace

std::string writeTaggedJSON(const Value &value) {
    std::string out;
    write(out, value);
    return out;
}

std::optional<Value> readTaggedJSON(std::string_view text, std::size_t depthLimit) {
    Expected<Value> parsed = parseJSON(text, &convertTags, depthLimit);
    if (Value *value = std::get_if<Value>(&parsed))
        return std::move(*value);
    return std::nullopt;
}

} // namespace vmr
