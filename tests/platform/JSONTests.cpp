#include "platform/JSON.h"

#include <gtest/gtest.h>

#include <limits>

namespace vmr::test {
namespace {

Value nested(std::size_t depth) {
    Value value = Value::list({});
    for (std::size_t level = 1; level < depth; ++level)
        value = Value::list({value});
    return value;
}

std::string compact(const Value &value) {
    return writeJSON(value, JSONStyle::compact);
}

std::string writtenLeaf(const Value &leaf) {
    return compact(Value::list({leaf}));
}

TEST(JSONValidityTest, TopLevelLeavesAndDepth) {
    EXPECT_TRUE(isValidJSONObject(Value::dictionary({})));
    EXPECT_TRUE(isValidJSONObject(
        Value::list({Value::null(), Value::boolean(true), Value::real(1.5), Value::string("a")})));
    for (const Value &top : {Value(), Value::null(), Value::string("a"), Value::integer(1)})
        EXPECT_FALSE(isValidJSONObject(top)) << top.description();
    for (const Value &leaf : {Value(), Value::data(Data("a")), Value::date(Date{0}),
                              Value::real(std::numeric_limits<double>::quiet_NaN()),
                              Value::real(std::numeric_limits<double>::infinity())}) {
        EXPECT_FALSE(isValidJSONObject(Value::list({leaf}))) << leaf.description();
        EXPECT_FALSE(isValidJSONObject(Value::dictionary({{"k", Value::list({leaf})}})));
    }
    EXPECT_TRUE(isValidJSONObject(nested(515)));
    EXPECT_FALSE(isValidJSONObject(nested(516)));
}

TEST(JSONWritingTest, Leaves) {
    EXPECT_EQ(writtenLeaf(Value::null()), "[null]");
    EXPECT_EQ(writtenLeaf(Value::boolean(true)), "[true]");
    EXPECT_EQ(writtenLeaf(Value::integer(1)), "[1]");
    EXPECT_EQ(writtenLeaf(Value::real(1)), "[1]");
    EXPECT_EQ(writtenLeaf(Value::real(1.5)), "[1.5]");
    EXPECT_EQ(writtenLeaf(Value::real(0.1)), "[0.10000000000000001]");
    EXPECT_EQ(writtenLeaf(Value::real(1e20)), "[1e+20]");
    EXPECT_EQ(writtenLeaf(Value::string("a\"\\\b\f\n\r\t\x01\x1f\x7fé😀/")),
              "[\"a\\\"\\\\\\b\\f\\n\\r\\t\\u0001\\u001f\x7fé😀/\"]");
    EXPECT_EQ(writtenLeaf(Value::string(std::string("a\0b", 3))), "[\"a\\u0000b\"]");
}

TEST(JSONWritingTest, EscapesAreFoundAtEveryPlaceOfALongText) {
    const std::string plain = "0123456789_ABCDEFGHI-éé";
    for (std::size_t at = 0; at <= 20; ++at) {
        std::string text = plain;
        text.insert(at, 1, '"');
        std::string expected = plain;
        expected.insert(at, "\\\"");
        EXPECT_EQ(writtenLeaf(Value::string(text)), "[\"" + expected + "\"]");
    }
}

TEST(JSONWritingTest, CompactAndPretty) {
    const Value object =
        Value::dictionary({{"a", Value::list({})},
                           {"b", Value::dictionary({})},
                           {"c", Value::list({Value::integer(1), Value::string("x")})}});
    EXPECT_EQ(writeJSON(object, JSONStyle::compact), R"({"a":[],"b":{},"c":[1,"x"]})");
    EXPECT_EQ(writeJSON(object, JSONStyle::pretty), R"({
  "a" : [

  ],
  "b" : {

  },
  "c" : [
    1,
    "x"
  ]
})");
    EXPECT_EQ(writeJSON(Value::list({}), JSONStyle::pretty), "[\n\n]");
}

Value read(std::string_view text) {
    const auto result = readJSON(text);
    const Value *value = std::get_if<Value>(&result);
    if (value == nullptr)
        ADD_FAILURE() << text << ": " << std::get<PlatformError>(result).description();
    return value == nullptr ? Value() : *value;
}

Value readLeaf(std::string_view text) {
    const Value list = read("[" + std::string(text) + "]");
    return list.asList() != nullptr && list.asList()->size() == 1 ? list.asList()->front()
                                                                  : Value();
}

TEST(JSONReadingTest, Leaves) {
    EXPECT_TRUE(readLeaf("null").isNull());
    EXPECT_EQ(readLeaf("true").asBoolean(), true);
    EXPECT_EQ(readLeaf("9223372036854775807").asInteger(), 9223372036854775807);
    EXPECT_EQ(readLeaf("-9223372036854775808").asInteger(),
              std::numeric_limits<std::int64_t>::min());
    for (const char *large : {"9223372036854775808", "18446744073709551615"})
        EXPECT_EQ(compact(Value::list({readLeaf(large)})), "[" + std::string(large) + "]");
    EXPECT_EQ(readLeaf("18446744073709551616").asReal(), 18446744073709551616.0);
    EXPECT_EQ(readLeaf("123456789012345678901234567890").asReal(),
              123456789012345678901234567890.0);
    EXPECT_EQ(readLeaf("-9223372036854775809").asReal(), -9223372036854775808.0);
    EXPECT_EQ(readLeaf("1.0").asReal(), 1.0);
    EXPECT_EQ(readLeaf("1e2").asReal(), 100.0);
    EXPECT_EQ(*readLeaf(R"("\u00e9\ud83d\ude00\u0000\/")").asString(), std::string("é😀\0/", 8));
}

TEST(JSONReadingTest, FirstOfEqualKeysWinsAndOuterBlanksAreFine) {
    EXPECT_EQ(compact(read(" \r\n{\"a\":1,\"b\":2,\"a\":{\"a\":3}}\t")), R"({"a":1,"b":2})");
    EXPECT_EQ(compact(read("\xEF\xBB\xBF[1]")), "[1]");
}

TEST(JSONReadingTest, DepthIsBounded) {
    const auto brackets = [](std::size_t depth) {
        return std::string(depth, '[') + std::string(depth, ']');
    };
    EXPECT_TRUE(std::holds_alternative<Value>(readJSON(brackets(512))));
    EXPECT_TRUE(std::holds_alternative<PlatformError>(readJSON(brackets(513))));
    EXPECT_TRUE(std::holds_alternative<PlatformError>(readJSON(std::string(1000000, '['))));
}

struct Refusal {
    std::string text;
    std::string debugDescription;
    std::optional<std::int64_t> index;
};

TEST(JSONReadingTest, RefusalsNameReasonAndPlace) {
    const std::string fragment =
        "JSON text did not start with array or object and option to allow fragments not set. "
        "around line 1, column ";
    const std::vector<Refusal> refusals = {
        {"", "Unable to parse empty data.", std::nullopt},
        {"1", fragment + "0.", 0},
        {" \"a\"", fragment + "1.", 1},
        {"<html>", fragment + "0.", 0},
        {"// c\n[]", fragment + "0.", 0},
        {"[1] x", "Garbage at end around line 1, column 4.", 4},
        {"{} {}", "Garbage at end around line 1, column 3.", 3},
        {"{\"a\":1,\n \"b\"}", "Badly formed object around line 2, column 4.", 12},
        {"{1:2}", "No string key for value in object around line 1, column 1.", 1},
        {"{\"a\":\"b", "Unterminated string around line 1, column 7.", 7},
    };
    for (const Refusal &refusal : refusals) {
        const auto result = readJSON(refusal.text);
        const PlatformError *error = std::get_if<PlatformError>(&result);
        ASSERT_NE(error, nullptr) << refusal.text;
        EXPECT_EQ(error->domain, "NSCocoaErrorDomain");
        EXPECT_EQ(error->code, 3840);
        EXPECT_EQ(valueForKey(error->userInfo, "NSDebugDescription").description(),
                  refusal.debugDescription);
        EXPECT_EQ(valueForKey(error->userInfo, "NSJSONSerializationErrorIndex").asInteger(),
                  refusal.index)
            << refusal.text;
        EXPECT_EQ(error->localizedDescription(),
                  "The data couldn’t be read because it isn’t in the correct format.");
    }
}

TEST(JSONReadingTest, IsStrict) {
    for (const char *text :
         {"", "  ", "[1,]", "{\"a\":1,}", "[01]", "[1e400]", "[NaN]", "[\"\t\"]", "[\"\\ud800\"]",
          "[/*c*/]", "[\"\xff\"]", "[\"\xed\xa0\x80\"]", "[\"\xc0\x80\"]", "[1}"})
        EXPECT_TRUE(std::holds_alternative<PlatformError>(readJSON(text))) << text;
    EXPECT_TRUE(std::holds_alternative<PlatformError>(readJSON(std::string_view("[]\0", 3))));
}

} // namespace
} // namespace vmr::test
