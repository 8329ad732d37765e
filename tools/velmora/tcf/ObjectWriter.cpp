#include "tcf/ObjectWriter.h"

#include <charconv>
#include <iterator>

namespace velmora::tcf {

std::ostream &ObjectWriter::entry(std::string_view name) {
    out_ << (isFirst_ ? "\"" : ",\"") << name << "\":";
    isFirst_ = false;
    return out_;
}

void ObjectWriter::text(std::string_view name, std::string_view value) {
    entry(name);
    textElement(value);
}

void ObjectWriter::textElement(std::string_view value) {
    // The texts are this program's own, of printable characters.
    out_ << '"';
    for (const char c : value) {
        if (c == '"' || c == '\\')
            out_ << '\\';
        out_ << c;
    }
    out_ << '"';
}

void ObjectWriter::seconds(std::string_view name, std::int64_t tenths) {
    entry(name) << tenths / 10 << '.' << tenths % 10;
}

void ObjectWriter::ids(std::string_view name, const IdSet &ids) {
    entry(name);
    form_ == IdForm::ids ? writeIds(ids) : writeRanges(ids);
}

void ObjectWriter::ids(std::string_view name, const std::optional<IdSet> &ids) {
    if (ids)
        this->ids(name, *ids);
    else
        null(name);
}

void ObjectWriter::writeIds(const IdSet &ids) {
    char separator = '[';
    for (const IdRange &range : ids.ranges())
        for (unsigned id = range.first; id <= range.last; ++id) {
            char text[8] = {separator};
            const auto end = std::to_chars(text + 1, std::end(text), id).ptr;
            out_.write(text, end - text);
            separator = ',';
        }
    out_ << (ids.empty() ? "[]" : "]");
}

void ObjectWriter::writeRanges(const IdSet &ids) {
    char separator = '[';
    for (const IdRange &range : ids.ranges()) {
        out_ << separator << '[' << range.first << ',' << range.last << ']';
        separator = ',';
    }
    out_ << (ids.empty() ? "[]" : "]");
}

} // namespace velmora::tcf
