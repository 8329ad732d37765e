#include "platform/Hexadecimal.h"
#include "platform/KeyedArchive.h"
#include "platform/NumberText.h"
#include "platform/Text.h"
#include "platform/Value.h"

#include <algorithm>

namespace vmr {
namespace {

constexpr std::size_t indentWidth = 4;
constexpr int describedDigits = 16;
constexpr std::size_t describedPiece = std::size_t{16} * 1024;

void appendIndent(std::string &out, std::size_t level) {
    out.append(indentWidth * level, ' ');
}

bool isPlainCharacter(char character) {
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z');
}

void appendEscapedUnit(std::string &out, char16_t unit) {
    constexpr std::u16string_view escaped = u"\"\\\a\b\t\n\v\f\r";
    constexpr std::string_view letters = "\"\\abtnvfr";
    if (const std::size_t at = escaped.find(unit); at != std::u16string_view::npos) {
        out += '\\';
        out += letters[at];
        return;
    }
    if (unit >= 0x20 && unit < 0x7F) {
        out += static_cast<char>(unit);
        return;
    }
    out += "\\U";
    const char bytes[] = {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
    appendHexadecimal(out, std::string_view(bytes, sizeof bytes));
}

/// A text inside a collection: plain when it is one ASCII word, else quoted and escaped.
void appendQuotedWhereNeeded(std::string &out, std::string_view text) {
    if (!text.empty() && std::ranges::all_of(text, isPlainCharacter)) {
        out += text;
        return;
    }
    out += '"';
    for (const char16_t unit : utf16Units(text))
        appendEscapedUnit(out, unit);
    out += '"';
}

/// Describes collections, until the text is longer than its limit.
class CollectionText {
public:
    CollectionText(const TakeText &take, std::size_t limit) : take_(take), limit_(limit) {}

    /// A nested collection writes its own indent in front of its opener, wherever that stands.
    void append(const Value &value, std::size_t level) {
        if (const List *list = value.asList())
            appendList(*list, level);
        else if (const Dictionary *dictionary = value.asDictionary())
            appendDictionary(*dictionary, level);
        else if (const Data *data = value.asData())
            out_ += data->description();
        else
            appendQuotedWhereNeeded(out_, value.description());
    }

    void handOn() {
        taken_ += out_.size();
        take_(out_);
        out_.clear();
    }

private:
    bool isFull() {
        if (out_.size() >= describedPiece)
            handOn();
        return taken_ + out_.size() > limit_;
    }

    void appendList(const List &list, std::size_t level) {
        appendIndent(out_, level);
        out_ += "(\n";
        std::size_t left = list.size();
        for (const Value &value : list) {
            if (isFull())
                return;
            appendIndent(out_, level + 1);
            append(value, level + 1);
            out_ += --left == 0 ? "\n" : ",\n";
        }
        appendIndent(out_, level);
        out_ += ')';
    }

    void appendDictionary(const Dictionary &dictionary, std::size_t level) {
        appendIndent(out_, level);
        out_ += "{\n";
        for (const auto &[key, value] : dictionary) {
            if (isFull())
                return;
            appendIndent(out_, level + 1);
            appendQuotedWhereNeeded(out_, key);
            out_ += " = ";
            append(value, level + 1);
            out_ += ";\n";
        }
        appendIndent(out_, level);
        out_ += '}';
    }

    const TakeText &take_;
    const std::size_t limit_;
    std::size_t taken_ = 0;
    std::string out_;
};

void describeCollection(const Value &value, const TakeText &take, std::size_t limit) {
    CollectionText text(take, limit);
    text.append(value, 0);
    text.handOn();
}

std::string realDescription(double real) {
    std::string text;
    appendReal(text, real, describedDigits);
    return text;
}

} // namespace

std::string Value::description(std::size_t limit) const {
    switch (type()) {
    case Type::absent:
        return "(null)";
    case Type::null:
        return "<null>";
    case Type::boolean:
        return *asBoolean() ? "1" : "0";
    case Type::integer:
        return asInteger() ? std::to_string(*asInteger()) : std::to_string(*asLargeInteger());
    case Type::real:
        return realDescription(*asReal());
    case Type::string:
        return *asString();
    case Type::date:
        return asDate()->description();
    case Type::data:
        return asData()->description();
    case Type::record:
        return "<" + std::string(asRecord()->archiveClassName()) + ">";
    case Type::list:
    case Type::dictionary:
        break;
    }
    std::string text;
    describeCollection(
        *this, [&](std::string_view piece) { text += piece; }, limit);
    if (text.size() > limit) {
        text.resize(limit);
        text += "...";
    }
    return text;
}

void Value::describe(const TakeText &take) const {
    if (const std::string *text = asString())
        take(*text);
    else if (asList() != nullptr || asDictionary() != nullptr)
        describeCollection(*this, take, std::string::npos);
    else
        take(description());
}

} // namespace vmr
