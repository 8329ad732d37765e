#include "platform/JSON.h"
#include "platform/KeyedArchive.h"

#include <gtest/gtest.h>

namespace vmr::test {
namespace {

/// A record with a field of each kind.
class Note final : public Archivable {
public:
    Value content;
    bool isRead = false;
    std::int64_t count = 0;
    bool hadContent = true;

    static constexpr std::string_view ClassName = "Note";
    std::string_view archiveClassName() const noexcept override { return ClassName; }
    void encodeWithCoder(KeyedEncoder &coder) const override {
        coder.encodeObject(content, "content");
        coder.encodeBool(isRead, "isRead");
        coder.encodeInteger(count, "count");
    }
    static std::shared_ptr<Archivable> make(const KeyedDecoder &coder) {
        auto note = std::make_shared<Note>();
        note->hadContent = coder.containsValueForKey("content");
        note->content = coder.decodeObject("content");
        note->isRead = coder.decodeBool("isRead");
        note->count = coder.decodeInteger("count");
        return note;
    }
};

const bool noteIsRegistered = registerArchivableClass(Note::ClassName, &Note::make);

class Unregistered final : public Archivable {
public:
    std::string_view archiveClassName() const noexcept override { return "Unregistered"; }
    void encodeWithCoder(KeyedEncoder &) const override {}
};

std::shared_ptr<Note> makeNote(Value content, std::int64_t count = 0) {
    auto note = std::make_shared<Note>();
    note->content = std::move(content);
    note->isRead = true;
    note->count = count;
    return note;
}

std::shared_ptr<const Note> asNote(const Value &value) {
    return recordOfClass<Note>(value);
}

std::optional<Value> unarchive(std::string bytes) {
    return unarchiveObjectWithData(Data(std::move(bytes)));
}

std::optional<Value> unarchiveRoot(std::string_view root) {
    return unarchive("VMRA\x01" + std::string(root));
}

std::string sampleArchive() {
    const Value inner = Value::record(makeNote(Value::list({Value::date(Date{1.5})}), 70000));
    return std::string(archivedDataWithRootObject(Value::list({
                                                      Value::record(makeNote(inner)),
                                                      Value::dictionary({{"a", Value::real(0.5)}}),
                                                      Value::data(Data("bytes")),
                                                  }))
                           .bytes());
}

TEST(KeyedArchiveTest, BytesAreThoseOfTheDocumentedFormat) {
    const Data date = archivedDataWithRootObject(Value::date(Date{1}));
    EXPECT_EQ(date.bytes(), std::string_view("VMRA\x01\xd7\x02\x3f\xf0\0\0\0\0\0\0", 15));
    const Data absent = archivedDataWithRootObject(Value());
    EXPECT_EQ(absent.bytes(), std::string_view("VMRA\x01\xc7\0\0", 8));
    const Data record = archivedDataWithRootObject(Value::record(makeNote(Value::null(), 5)));
    EXPECT_EQ(record.bytes(), "VMRA\x01\xc7\x1e\x01\xa4Note\x83\xa7"
                              "content\xc0\xa5"
                              "count\x05\xa6isRead\xc3");
}

TEST(KeyedArchiveTest, AnAbsentFieldIsRecordedAndAMissingOneIsNot) {
    const auto absent = unarchiveObjectWithData(
        archivedDataWithRootObject(Value::record(makeNote(Value(), 70000))));
    EXPECT_TRUE(asNote(*absent)->isRead);
    EXPECT_EQ(asNote(*absent)->count, 70000);
    EXPECT_TRUE(asNote(*absent)->hadContent);
    EXPECT_TRUE(asNote(*absent)->content.isAbsent());

    const auto missing = unarchiveRoot("\xc7\x06\x01\xa4Note\x80");
    ASSERT_TRUE(missing);
    EXPECT_FALSE(asNote(*missing)->hadContent);
    EXPECT_FALSE(asNote(*missing)->isRead);
}

TEST(KeyedArchiveTest, AFieldOfAnotherTypeReadsAsNothing) {
    const auto root = unarchiveRoot("\xc7\x15\x01\xa4Note\x82\xa6isRead\x05\xa5"
                                    "count\xc3");
    ASSERT_TRUE(root);
    EXPECT_FALSE(asNote(*root)->isRead);
    EXPECT_EQ(asNote(*root)->count, 0);
}

TEST(KeyedArchiveTest, ListOfRecordsIsTheArchiveOfTheList) {
    for (const std::size_t count : {std::size_t{0}, std::size_t{3}, std::size_t{70000}}) {
        List list;
        RecordList records;
        for (std::size_t at = 0; at < count; ++at) {
            const auto note = makeNote(Value::string("text"), static_cast<std::int64_t>(at));
            list.push_back(Value::record(note));
            records.push_back(note);
        }
        EXPECT_EQ(archivedDataWithRecords(records),
                  archivedDataWithRootObject(Value::list(std::move(list))));
    }
}

TEST(HostileArchiveTest, UnknownClassesAndForeignBytesAreRefused) {
    EXPECT_FALSE(unarchiveObjectWithData(
        archivedDataWithRootObject(Value::record(std::make_shared<Unregistered>()))));
    for (const char *bytes : {"", "VMRA", "VMRA\x01", "VMRA\x02\xc0", "vmra\x01\xc0", "{\"a\":1}"})
        EXPECT_FALSE(unarchive(bytes)) << bytes;
}

TEST(HostileArchiveTest, AnArchiveCutAnywhereIsRefused) {
    const std::string whole = sampleArchive();
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(unarchive(whole.substr(0, length))) << length;
}

TEST(HostileArchiveTest, AnyFlippedBitIsSurvived) {
    const std::string whole = sampleArchive();
    for (std::size_t at = 0; at < whole.size() * 8; ++at) {
        std::string damaged = whole;
        damaged[at / 8] = static_cast<char>(damaged[at / 8] ^ (1 << at % 8));
        const std::optional<Value> value = unarchive(damaged);
        EXPECT_TRUE(!value || !archivedDataWithRootObject(*value).empty());
    }
}

TEST(KeyedArchiveTest, ARecordHoldsTheDeepestValueThatIsReadFromOutside) {
    const auto deepest = readJSON(std::string(512, '[') + std::string(512, ']'));
    const Value list = Value::list({Value::record(makeNote(std::get<Value>(deepest)))});
    const auto root = unarchiveObjectWithData(archivedDataWithRootObject(list));
    ASSERT_TRUE(root);
    EXPECT_TRUE(asNote(root->asList()->at(0))->content.isEqualTo(std::get<Value>(deepest)));
}

TEST(HostileArchiveTest, DepthIsBounded) {
    EXPECT_TRUE(unarchiveRoot(std::string(514, '\x91') + "\x90"));
    EXPECT_FALSE(unarchiveRoot(std::string(515, '\x91') + "\x90"));
    EXPECT_FALSE(unarchiveRoot(std::string(1000000, '\x91')));

    const auto nestedRecords = [](int depth) {
        Value value = Value::null();
        for (int level = 0; level < depth; ++level)
            value = Value::record(makeNote(value));
        return unarchiveObjectWithData(archivedDataWithRootObject(value)).has_value();
    };
    EXPECT_TRUE(nestedRecords(100));
    EXPECT_FALSE(nestedRecords(600));
}

} // namespace
} // namespace vmr::test
