#include "platform/TaggedJSON.h"

#include "platform/Hexadecimal.h"
#include "platform/JSON.h"
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

std::optional<Value> readDate(const Value &content) {
    if (!content.isNumber() || content.asBoolean())
        return std::nullopt;
    return Value::date(Date{content.realValue()});
}

std::optional<Value> readData(const Value &content) {
    const std::string *digits = content.asString();
    std::optional<std::string> bytes = digits ? bytesOfHexadecimal(*digits) : std::nullopt;
    return bytes ? std::optional(Value::data(Data(*std::move(bytes)))) : std::nullopt;
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

void appendTaggedLeaf(std::string &out, const Value &value) {
    if (const auto real = value.asReal())
        writeReal(out, *real);
    else if (const Date *date = value.asDate())
        writeDate(out, *date);
    else if (const Data *data = value.asData())
        writeData(out, *data);
    else // Records have no text form; their archive keeps everything they hold.
        writeData(out, archivedDataWithRootObject(value));
}

std::string writeTaggedJSON(const Value &value) {
    return writeJSON(value, JSONStyle::tagged);
}

std::optional<Value> readTaggedJSON(std::string_view text, std::size_t depthLimit) {
    Expected<Value> parsed = parseJSON(text, &convertTags, depthLimit);
    if (Value *value = std::get_if<Value>(&parsed))
        return std::move(*value);
    return std::nullopt;
}

} // namespace vmr
