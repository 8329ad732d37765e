#pragma once

#include "platform/Hexadecimal.h"
#include "platform/KeyedArchive.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vmr::test {

/// A record with one text.
class Note final : public Archivable {
public:
    explicit Note(std::string content) : text(std::move(content)) {}

    static constexpr std::string_view ClassName = "Note";
    std::string_view archiveClassName() const noexcept override { return ClassName; }
    void encodeWithCoder(KeyedEncoder &coder) const override {
        coder.encodeObject(Value::string(text), "text");
        coder.encodeObject(Value(), "nothing");
    }
    static std::shared_ptr<Archivable> initWithCoder(const KeyedDecoder &coder) {
        const Value text = coder.decodeObject("text");
        return text.asString() ? std::make_shared<Note>(*text.asString()) : nullptr;
    }

    const std::string text;
};

[[maybe_unused]] inline const bool noteIsRegistered =
    registerArchivableClass(Note::ClassName, &Note::initWithCoder);

inline Value archiveOf(const RecordList &records) {
    return Value::data(archivedDataWithRecords(records));
}

inline RecordList notes(const std::vector<std::string> &texts) {
    RecordList records;
    for (const std::string &text : texts)
        records.push_back(std::make_shared<Note>(text));
    return records;
}

/// Of the records whose archive a value is.
inline std::vector<std::string> textsOf(const Value &archive) {
    std::vector<std::string> texts;
    const auto records = archive.asData() ? archivedRecords(*archive.asData()) : std::nullopt;
    for (std::size_t index = 0; records && index < records->size(); ++index)
        texts.push_back(static_cast<const Note *>((*records)[index].get())->text);
    return texts;
}

/// Their archive, as a file of version 1 has it.
inline std::string archiveSQL(const std::vector<std::string> &texts) {
    std::string hexadecimal;
    appendHexadecimal(hexadecimal, archiveOf(notes(texts)).asData()->bytes());
    return "X'" + hexadecimal + "'";
}

} // namespace vmr::test
