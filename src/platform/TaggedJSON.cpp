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
    out.append("{\"").append(tag).append("\":");
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
        out.append("\"").append(nonFiniteName(real)).append("\"}");
        return;
    }
    char buffer[48];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, real).ptr;
    const std::string_view digits(buffer, static_cast<std::size_t>(end - buffer));
    out += digits;
    if (digits.find_first_of(".e") == std::string_view::npos)
        out += ".0";
}

Value readDate(const Value &content) {
    if (!content.isNumber() || content.asBoolean())
        return {};
    return Value::date(Date{content.realValue()});
}

Value readData(const Value &content) {
    const std::string *digits = content.asString();
    std::optional<std::string> bytes = digits ? bytesOfHexadecimal(*digits) : std::nullopt;
    return bytes ? Value::data(Data(*std::move(bytes))) : Value();
}

Value readReal(const Value &content) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::string *name = content.asString();
    for (const double real : {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity}) {
        if (name != nullptr && *name == nonFiniteName(real))
            return Value::real(real);
    }
    return {};
}

/// Absent where the tag is none or its content is wrong.
Value readTag(const std::string &key, const Value &content) {
    if (key.starts_with("$$"))
        return Value::dictionary(dictionaryOf({{std::string_view(key).substr(1), content}}));
    if (key == dateTag)
        return readDate(content);
    if (key == dataTag)
        return readData(content);
    if (key == realTag)
        return readReal(content);
    return {};
}

bool convertTags(Value &value) {
    const Dictionary &dictionary = *value.asDictionary();
    if (dictionary.size() == 1 && dictionary.begin()->first.starts_with('$'))
        value = readTag(dictionary.begin()->first, dictionary.begin()->second);
    return !value.isAbsent();
}

} // namespace

void appendTaggedLeaf(std::string &out, const Value &value) {
    if (const auto real = value.asReal())
        return writeReal(out, *real);
    if (const Date *date = value.asDate()) {
        openTag(out, dateTag);
        writeReal(out, date->secondsSince1970);
    } else {
        // Records have no text form; their archive keeps everything they hold.
        const Data data = value.asData() ? *value.asData() : archivedDataWithRootObject(value);
        openTag(out, dataTag);
        out += '"';
        appendHexadecimal(out, data.bytes());
        out += '"';
    }
    out += '}';
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
