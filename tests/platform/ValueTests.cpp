#include "platform/Value.h"

#include <gtest/gtest.h>

#include <limits>

namespace vmr::test {
namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

TEST(ValueTest, OnlyTheMarkerAndTheBooleansAreSharedObjects) {
    EXPECT_TRUE(Value::null().isIdenticalTo(Value::null()));
    EXPECT_TRUE(Value::boolean(true).isIdenticalTo(Value::boolean(true)));
    EXPECT_FALSE(Value::boolean(true).isIdenticalTo(Value::boolean(false)));
    EXPECT_TRUE(Value::record(nullptr).isIdenticalTo(Value()));
    EXPECT_FALSE(Value().isIdenticalTo(Value::null()));
    EXPECT_FALSE(Value::string("a").isIdenticalTo(Value::string("a")));
    EXPECT_FALSE(Value::integer(1).isIdenticalTo(Value::integer(1)));
    const Value original = Value::list({});
    const Value copy = original;
    EXPECT_TRUE(copy.isIdenticalTo(original));
}

TEST(ValueTest, NumbersAreEqualAcrossTheirTypes) {
    EXPECT_TRUE(Value::boolean(true).isEqualTo(Value::integer(1)));
    EXPECT_TRUE(Value::real(1).isEqualTo(Value::integer(1)));
    EXPECT_TRUE(Value::real(0).isEqualTo(Value::boolean(false)));
    EXPECT_TRUE(Value::real(notANumber).isEqualTo(Value::real(notANumber)));
    EXPECT_FALSE(Value::real(1.5).isEqualTo(Value::integer(1)));
    EXPECT_FALSE(Value::real(notANumber).isEqualTo(Value::integer(0)));
    // The nearest real to the largest integer is one above it.
    EXPECT_FALSE(Value::real(9223372036854775808.0).isEqualTo(Value::integer(largest)));
    EXPECT_TRUE(Value::real(-9223372036854775808.0).isEqualTo(Value::integer(smallest)));
    EXPECT_FALSE(Value::string("1").isEqualTo(Value::integer(1)));
    const Value large = Value::unsignedInteger(1ull << 63);
    EXPECT_TRUE(large.isEqualTo(Value::unsignedInteger(1ull << 63)));
    EXPECT_TRUE(large.isEqualTo(Value::real(9223372036854775808.0)));
    EXPECT_FALSE(large.isEqualTo(Value::integer(smallest)));
    EXPECT_FALSE(large.isEqualTo(Value::unsignedInteger((1ull << 63) + 1)));
    EXPECT_TRUE(Value::unsignedInteger(7).isEqualTo(Value::integer(7)));
}

TEST(ValueTest, CollectionsAreEqualByTheirContents) {
    const auto make = [](std::int64_t leaf) {
        return Value::dictionary({{"a", Value::list({Value::integer(leaf), Value::null()})},
                                  {"b", Value::data(Data("xy"))},
                                  {"c", Value::date(Date{5})}});
    };
    EXPECT_TRUE(make(1).isEqualTo(make(1)));
    EXPECT_FALSE(make(1).isEqualTo(make(2)));
    EXPECT_FALSE(Value::list({}).isEqualTo(Value::dictionary({})));
    EXPECT_FALSE(Value::list({Value()}).isEqualTo(Value::list({Value::null()})));
    EXPECT_FALSE(Value::dictionary({{"a", Value::null()}})
                     .isEqualTo(Value::dictionary({{"b", Value::null()}})));
}

TEST(ValueTest, IntegerValueTruncatesAndClamps) {
    EXPECT_EQ(Value::real(2.9).integerValue(), 2);
    EXPECT_EQ(Value::real(-2.9).integerValue(), -2);
    EXPECT_EQ(Value::real(1e300).integerValue(), largest);
    EXPECT_EQ(Value::real(-infinity).integerValue(), smallest);
    EXPECT_EQ(Value::real(notANumber).integerValue(), 0);
    EXPECT_EQ(Value::boolean(true).integerValue(), 1);
    EXPECT_EQ(Value::string("7").integerValue(), 0);
    EXPECT_EQ(Value().integerValue(), 0);
}

TEST(ValueTest, BoolValueOfNumbersAndTexts) {
    for (const char *text :
         {"YES", "true", "1", "01", "-1", "+1", "  yes", "42abc", "T", "y", "007"})
        EXPECT_TRUE(Value::string(text).boolValue()) << text;
    for (const char *text : {"0", "00", "no", "false", "", "0.1", ".5", "- 7", "+-5", "\t1", "\n1",
                             "   ", "-", "x1", "--1"})
        EXPECT_FALSE(Value::string(text).boolValue()) << text;
    EXPECT_TRUE(Value::integer(-3).boolValue());
    EXPECT_TRUE(Value::real(0.1).boolValue());
    EXPECT_TRUE(Value::real(notANumber).boolValue());
    EXPECT_FALSE(Value::real(-0.0).boolValue());
    EXPECT_FALSE(Value::null().boolValue());
    EXPECT_FALSE(Value().boolValue());
    EXPECT_FALSE(Value::list({Value::boolean(true)}).boolValue());
}

} // namespace
} // namespace vmr::test
