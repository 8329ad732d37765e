#include "platform/JSON.h"
#include "platform/JSONText.h"
#include "platform/NumberText.h"
#include "platform/ValueBuilder.h"

#include <algorithm>
#include <cmath>

namespace vmr {
namespace {

constexpr int writtenDigits = 17;
constexpr std::size_t indentStep = 2;
constexpr std::size_t pieceSize = std::size_t{16} * 1024;
/// A value that came in as deep as it may still stands inside an item, a batch and a body here:
/// what is valid alone must not make the whole body invalid.
constexpr std::size_t deepestBody = maximumNestingDepth + 3;

bool isValid(const Value &value, std::size_t depthLeft) {
    const auto isValidInside = [depthLeft](const Value &inner) {
        return isValid(inner, depthLeft - 1);
    };
    switch (value.type()) {
    case Value::Type::null:
    case Value::Type::boolean:
    case Value::Type::integer:
    case Value::Type::string:
        return true;
    case Value::Type::real:
        return std::isfinite(*value.asReal());
    case Value::Type::list:
        return depthLeft > 0 && std::ranges::all_of(*value.asList(), isValidInside);
    case Value::Type::dictionary:
        return depthLeft > 0 && std::ranges::all_of(*value.asDictionary(), isValidInside,
                                                    &Dictionary::value_type::second);
    default:
        return false;
    }
}

/// Bodies carry thousands of values, so everything is appended to one text in one pass.
class JSONWriter {
public:
    explicit JSONWriter(JSONStyle style, const TakeText *take = nullptr)
        : style_(style), take_(take) {}

    void write(const Value &value) {
        if (const std::string *text = value.asString())
            appendJSONString(out_, *text);
        else if (const Dictionary *dictionary = value.asDictionary())
            write(*dictionary);
        else if (const List *list = value.asList())
            write(*list);
        else
            writeScalar(value);
    }

    void write(const Dictionary &dictionary) {
        open('{');
        bool isFirst = true;
        for (const auto &[key, value] : dictionary) {
            startElement(isFirst);
            if (style_ == JSONStyle::tagged && dictionary.size() == 1 && key.starts_with('$'))
                appendJSONString(out_, '$' + key); // it would read as a tag
            else
                appendJSONString(out_, key);
            out_ += isPretty() ? " : " : ":";
            write(value);
        }
        close('}', isFirst);
    }

    void write(const List &list) {
        open('[');
        bool isFirst = true;
        for (const Value &value : list) {
            startElement(isFirst);
            write(value);
        }
        close(']', isFirst);
    }

    std::string finish() && { return std::move(out_); }

    void handOn() {
        (*take_)(out_);
        out_.clear();
    }

private:
    void writeScalar(const Value &value) {
        if (const auto boolean = value.asBoolean())
            out_ += *boolean ? "true" : "false";
        else if (const auto integer = value.asInteger())
            appendInteger(out_, *integer);
        else if (const auto large = value.asLargeInteger())
            appendInteger(out_, *large);
        else if (style_ == JSONStyle::tagged && !value.isNull() && !value.isAbsent())
            appendTaggedLeaf(out_, value);
        else if (const auto real = value.asReal(); real && std::isfinite(*real))
            appendReal(out_, *real, writtenDigits);
        else
            out_ += "null";
    }

    bool isPretty() const { return style_ == JSONStyle::pretty; }

    void open(char bracket) {
        out_ += bracket;
        ++level_;
    }

    void startElement(bool &isFirst) {
        if (!isFirst)
            out_ += ',';
        isFirst = false;
        if (take_ != nullptr && out_.size() >= pieceSize)
            handOn();
        startLine();
    }

    void close(char bracket, bool isEmpty) {
        if (isEmpty && isPretty())
            out_ += '\n';
        --level_;
        startLine();
        out_ += bracket;
    }

    void startLine() {
        if (!isPretty())
            return;
        out_ += '\n';
        out_.append(indentStep * level_, ' ');
    }

    JSONStyle style_;
    const TakeText *take_;
    std::size_t level_ = 0;
    std::string out_;
};

} // namespace

bool isValidJSONObject(const Value &value) {
    return (value.asList() || value.asDictionary()) && isValid(value, deepestBody);
}

std::string writeJSON(const Value &object, JSONStyle style) {
    JSONWriter writer(style);
    writer.write(object);
    return std::move(writer).finish();
}

void writeJSON(const Value &object, const TakeText &take) {
    JSONWriter writer(JSONStyle::compact, &take);
    writer.write(object);
    writer.handOn();
}

} // namespace vmr
