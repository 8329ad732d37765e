#include "platform/Value.h"

#include <gtest/gtest.h>

#include <limits>

namespace vmr::test {
namespace {

std::string bytesUpTo(int count) {
    std::string bytes;
    for (int byte = 0; byte < count; ++byte)
        bytes += static_cast<char>(byte);
    return bytes;
}

std::string real(double value) {
    return Value::real(value).description();
}

TEST(DescriptionTest, Reals) {
    EXPECT_EQ(real(1.0), "1");
    EXPECT_EQ(real(0.1 + 0.2), "0.3");
    EXPECT_EQ(real(1.0 / 3), "0.3333333333333333");
    EXPECT_EQ(real(1e15), "1000000000000000");
    EXPECT_EQ(real(1e16), "1e+16");
    EXPECT_EQ(real(1e-5), "1e-05");
    EXPECT_EQ(real(-0.0), "-0");
    EXPECT_EQ(real(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(real(-std::numeric_limits<double>::infinity()), "-inf");
    EXPECT_EQ(real(std::numeric_limits<double>::quiet_NaN()), "nan");
    EXPECT_EQ(real(-std::numeric_limits<double>::quiet_NaN()), "nan");
}

TEST(DescriptionTest, Dates) {
    EXPECT_EQ(Date{1614866767.9996}.description(), "2021-03-04 14:06:07 +0000");
    EXPECT_EQ(Date{-0.25}.description(), "1969-12-31 23:59:59 +0000");
    // 29 February 1500 exists in the Julian calendar alone.
    EXPECT_EQ(Date{-14825808001}.description(), "1500-02-29 23:59:59 +0000");
    EXPECT_EQ(Date::distantPast().description(), "0001-01-01 00:00:00 +0000");
    EXPECT_EQ(Date::distantFuture().description(), "4001-01-01 00:00:00 +0000");
    EXPECT_EQ(Date{-12219292800}.description(), "1582-10-15 00:00:00 +0000");
    EXPECT_EQ(Date{-12219292801}.description(), "1582-10-04 23:59:59 +0000");
    EXPECT_EQ(Date{253402300800}.description(), "10000-01-01 00:00:00 +0000");
}

TEST(DescriptionTest, DatesBeyondTheCalendarDoNotOverflow) {
    EXPECT_FALSE(Date{1e300}.description().empty());
    EXPECT_FALSE(Date{-std::numeric_limits<double>::infinity()}.description().empty());
    EXPECT_FALSE(Date{std::numeric_limits<double>::quiet_NaN()}.description().empty());
}

TEST(DescriptionTest, Data) {
    EXPECT_EQ(Data().description(), "{length = 0, bytes = 0x}");
    EXPECT_EQ(Data("\x01\x02\x03").description(), "{length = 3, bytes = 0x010203}");
    EXPECT_EQ(Data(bytesUpTo(24)).description(),
              "{length = 24, bytes = 0x000102030405060708090a0b0c0d0e0f1011121314151617}");
    EXPECT_EQ(Data(bytesUpTo(40)).description(),
              "{length = 40, bytes = 0x00010203 04050607 08090a0b 0c0d0e0f ... "
              "20212223 24252627 }");
}

TEST(DescriptionTest, NestedCollectionsWriteTheirOwnIndent) {
    const Value inner = Value::dictionary({{"name", Value::string("x")}});
    EXPECT_EQ(Value::dictionary({{"r", Value::list({inner})}}).description(), R"({
    r =     (
                {
            name = x;
        }
    );
})");
    EXPECT_EQ(Value::dictionary({{"e", Value::list({})}, {"k", inner}}).description(), R"({
    e =     (
    );
    k =     {
        name = x;
    };
})");
}

TEST(DescriptionTest, TextsInCollectionsAreQuotedWhereNeeded) {
    EXPECT_EQ(Value::string("a \"b\"\né").description(), "a \"b\"\né");
    const Value list = Value::list(
        {Value::boolean(true), Value::string("CVx9"), Value::string("first_name"),
         Value::string(""), Value::integer(37), Value::integer(-1), Value::real(37.5),
         Value::null(), Value::date(Date{0}), Value::data(Data("ab")), Value::string("it's"),
         Value::string("\"\\\n\t\x01"), Value::string("é😀"), Value()});
    EXPECT_EQ(list.description(), R"text((
    1,
    CVx9,
    "first_name",
    "",
    37,
    "-1",
    "37.5",
    "<null>",
    "1970-01-01 00:00:00 +0000",
    {length = 2, bytes = 0x6162},
    "it's",
    "\"\\\n\t\U0001",
    "\U00e9\Ud83d\Ude00",
    "(null)"
))text");
}

TEST(DescriptionTest, KeysAreSortedAndQuotedLikeTexts) {
    const Value value = Value::dictionary({{"Content", Value::integer(1)},
                                           {"CVx", Value::integer(2)},
                                           {"x-frame", Value::integer(3)},
                                           {"2", Value::integer(4)},
                                           {"14", Value::integer(5)}});
    EXPECT_EQ(Value::dictionary({}).description(), "{\n}");
    EXPECT_EQ(
        value.description(),
        "{\n    14 = 5;\n    2 = 4;\n    CVx = 2;\n    Content = 1;\n    \"x-frame\" = 3;\n}");
}

} // namespace
} // namespace vmr::test
