#pragma once

#include "tcf/TCFJSON.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string_view>

namespace velmora::tcf {

/// Writes one JSON object, entry by entry; its end ends the object. Nothing is put together in
/// memory, since ids may be many.
class ObjectWriter {
public:
    ObjectWriter(std::ostream &out, IdForm form) : out_(out), form_(form) { out_ << '{'; }
    ObjectWriter(const ObjectWriter &) = delete;
    ObjectWriter &operator=(const ObjectWriter &) = delete;
    ~ObjectWriter() { out_ << '}'; }

    void number(std::string_view name, std::int64_t value) { entry(name) << value; }
    void boolean(std::string_view name, bool value) { entry(name) << (value ? "true" : "false"); }
    void null(std::string_view name) { entry(name) << "null"; }
    void text(std::string_view name, std::string_view value);
    /// With a tenth.
    void seconds(std::string_view name, std::int64_t tenths);
    void ids(std::string_view name, const IdSet &ids);
    void ids(std::string_view name, const std::optional<IdSet> &ids);
    ObjectWriter object(std::string_view name) { return {entry(name), form_}; }
    /// `write` writes each item with the functions for elements.
    template <class Items, class Write>
    void list(std::string_view name, const Items &items, Write &&write) {
        entry(name) << '[';
        const char *separator = "";
        for (const auto &item : items) {
            out_ << separator;
            write(item);
            separator = ",";
        }
        out_ << ']';
    }
    /// Elements of a list.
    void textElement(std::string_view value);
    ObjectWriter objectElement() { return {out_, form_}; }

private:
    std::ostream &entry(std::string_view name);
    void writeIds(const IdSet &ids);
    void writeRanges(const IdSet &ids);

    std::ostream &out_;
    IdForm form_;
    bool isFirst_ = true;
};

} // namespace velmora::tcf
