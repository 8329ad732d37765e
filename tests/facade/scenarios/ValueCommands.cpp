#include "Stage.h"
#include "platform/CurrentDevice.h"
#include "platform/JSON.h"
#include "platform/TaggedJSON.h"
#include "platform/Text.h"
#include "platform/UUID.h"

namespace vmr::test {
namespace {

/// A text, or bytes that are none.
std::string bytesIn(const std::string &json) {
    const Value value = valueOf(json);
    return value.asData() ? std::string(value.asData()->bytes()) : value.description();
}

void addJSONCommands(Stage &stage) {
    Stage *const s = &stage;
    s->on("read JSON", [s](const std::string &json) {
        const Expected<Value> read = readJSON(bytesIn(json));
        if (const Value *value = std::get_if<Value>(&read))
            return s->tell("value", *value);
        const auto &error = std::get<PlatformError>(read);
        s->tell("refused", error.description());
        s->tell("at", valueForKey(error.userInfo, "NSJSONSerializationErrorIndex"));
    });
    s->on("read tagged JSON", [s](const std::string &json) {
        s->tell("value", readTaggedJSON(bytesIn(json)).value_or(Value()));
    });
    s->on("nested", [s](const std::string &depth) {
        const std::size_t count = std::stoul(depth);
        const std::string text = std::string(count, '[') + std::string(count, ']');
        Value value = Value::list({});
        for (std::size_t level = 1; level < count; ++level)
            value = Value::list({value});
        s->tell("valid", isValidJSONObject(value));
        s->tell("read", std::holds_alternative<Value>(readJSON(text)));
        s->tell("read with tags", readTaggedJSON(text).has_value());
    });
}

} // namespace

void addValueCommands(Stage &stage) {
    addJSONCommands(stage);
    Stage *const s = &stage;
    s->on("value", [s](const std::string &json) {
        const Value value = valueOf(json);
        s->add(value.description());
        const Data archive = archivedDataWithRootObject(value);
        s->tell("archive", Value::data(archive));
        s->tell("read again", unarchiveObjectWithData(archive).value_or(Value()));
        s->tell("integer", value.integerValue());
        s->tell("boolean", value.boolValue());
        s->services.preferences->setObject(value, "value");
        s->tell("text", s->services.preferences->stringForKey("value"));
        if (!isValidJSONObject(value))
            return;
        s->add(writeJSON(value, JSONStyle::compact));
        s->add(writeJSON(value, JSONStyle::pretty));
    });
    s->on("archive", [s](const std::string &json) {
        const auto value = unarchiveObjectWithData(Data("VMRA\x01" + bytesIn(json)));
        s->add(value ? value->description() : "refused");
    });
    s->on("equal", [s](const std::string &json) {
        const Value both = valueOf(json);
        s->tell("equal", both.asList()->at(0).isEqualTo(both.asList()->at(1)));
        s->tell("the same", both.asList()->at(0).isIdenticalTo(both.asList()->at(1)));
    });
    s->on("text", [s](const std::string &json) {
        const std::string text = bytesIn(json);
        s->tell("valid", isValidUTF8(text));
        s->tell("of Latin-1", Value::data(Data(textFromLatin1(text))));
        List characters;
        for (const std::string_view character : composedCharacters(text))
            characters.push_back(Value::data(Data(std::string(character))));
        s->tell("characters", Value::list(characters));
        if (!isValidUTF8(text))
            return;
        s->tell("units", static_cast<std::int64_t>(utf16Length(text)));
        for (std::size_t unit = 0; unit <= std::min<std::size_t>(utf16Length(text), 6); ++unit)
            s->tell("from " + std::to_string(unit),
                    std::string(substringFromUTF16Index(text, unit)));
    });
    s->on("version", [s](const std::string &version) {
        s->tell("at least 9.3", isVersionAtLeast(version, 9, 3));
        s->tell("at least 9", isVersionAtLeast(version, 9, 0));
    });
    s->on("UUID", [s](const std::string &text) { s->tell("UUID", canonicalUUIDString(text)); });
}

} // namespace vmr::test
