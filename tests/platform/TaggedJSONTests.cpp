#include "platform/TaggedJSON.h"

#include <gtest/gtest.h>

#include <limits>

namespace vmr::test {
namespace {

TEST(TaggedJSONTest, EveryValueComesBackAsItWas) {
    const std::vector<std::pair<Value, std::string>> cases = {
        {Value::null(), "null"},
        {Value::integer(-7), "-7"},
        {Value::unsignedInteger(18446744073709551615u), "18446744073709551615"},
        {Value::real(1), "1.0"},
        {Value::real(0.1), "0.1"},
        {Value::real(std::numeric_limits<double>::quiet_NaN()), R"({"$real":"nan"})"},
        {Value::real(-std::numeric_limits<double>::infinity()), R"({"$real":"-inf"})"},
        {Value::string("a\"é"), R"("a\"é")"},
        {Value::date(Date{1614866767.25}), R"({"$date":1614866767.25})"},
        {Value::data(Data(std::string("\0\xff", 2))), R"({"$data":"00ff"})"},
        {Value::list({Value::integer(1), Value::list({})}), "[1,[]]"},
        {Value::dictionary({{"$data", Value::integer(1)}}), R"({"$$data":1})"},
        {Value::dictionary({{"$$x", Value::integer(1)}}), R"({"$$$x":1})"},
        {Value::dictionary({{"$date", Value::integer(1)}, {"a", Value::integer(2)}}),
         R"({"$date":1,"a":2})"},
    };
    for (const auto &[value, text] : cases) {
        EXPECT_EQ(writeTaggedJSON(value), text);
        const std::optional<Value> back = readTaggedJSON(text);
        ASSERT_TRUE(back) << text;
        EXPECT_EQ(back->type(), value.type()) << text;
        EXPECT_TRUE(back->isEqualTo(value)) << text;
    }
    EXPECT_EQ(writeTaggedJSON(Value()), "null");
}

TEST(TaggedJSONTest, PeopleMayWriteTagsTheirWay) {
    EXPECT_TRUE(readTaggedJSON(R"( { "$date" : 5 } )")->isEqualTo(Value::date(Date{5})));
    EXPECT_TRUE(readTaggedJSON(R"({"$date":9223372036854775808})")
                    ->isEqualTo(Value::date(Date{9223372036854775808.0})));
    EXPECT_TRUE(readTaggedJSON(R"({"$data":"AbCd"})")->isEqualTo(Value::data(Data("\xab\xcd"))));
}

TEST(TaggedJSONTest, WrongTextsAreRefused) {
    for (const char *text :
         {"", "nope", "1 2", R"({"$date":"5"})", R"({"$date":true})", R"({"$data":"abc"})",
          R"({"$data":"xy"})", R"({"$data":1})", R"({"$real":"NaN"})", R"({"$real":1})",
          R"({"$other":1})", R"([{"$other":1}])"})
        EXPECT_FALSE(readTaggedJSON(text)) << text;
    EXPECT_FALSE(readTaggedJSON(std::string(513, '[') + std::string(513, ']')));
}

} // namespace
} // namespace vmr::test
