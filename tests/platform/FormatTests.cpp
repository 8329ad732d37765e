#include "platform/Format.h"
#include "platform/PlatformError.h"

#include <gtest/gtest.h>

#include <limits>

namespace vmr::test {
namespace {

TEST(FormatTest, ObjectsPrintTheirDescription) {
    const std::optional<std::string> nothing;
    EXPECT_EQ(formatText("%@;%@;%@", "id", nothing, Value::null()), "id;(null);<null>");
    EXPECT_EQ(formatText("%@ %@", Value(), Value::real(1.5)), "(null) 1.5");
    EXPECT_EQ(formatText("%@", Dictionary{{"a", Value::integer(1)}}), "{\n    a = 1;\n}");
    EXPECT_EQ(formatText("%@", Value::date(Date{0})), "1970-01-01 00:00:00 +0000");
    EXPECT_EQ(formatText("[%@]", std::string("a\0b", 3)), std::string("[a\0b]", 5));
}

TEST(FormatTest, NumbersPrintLikeC) {
    EXPECT_EQ(formatText("%ld %lu %d", std::int64_t{-5}, std::size_t{7}, true), "-5 7 1");
    EXPECT_EQ(formatText("%lu", ~std::uint64_t{0}), "18446744073709551615");
    EXPECT_EQ(formatText("%x", 233u), "e9");
    EXPECT_EQ(formatText("%f %ld %ld", 1.5, 1.5, -1e300), "1.500000 1 -9223372036854775808");
    EXPECT_EQ(formatText("%f", -std::numeric_limits<double>::max()).size(), 317U);
}

TEST(FormatTest, PlaceholdersAndArgumentsMayNotMatchInNumber) {
    EXPECT_EQ(formatText("100%% of %s"), "100% of (null)");
    EXPECT_EQ(formatText("%ld and %f"), "(null) and (null)");
    EXPECT_EQ(formatText("plain", 1, 2), "plain");
    EXPECT_EQ(formatText("%q %@ %", "x"), "%q x %");
    EXPECT_EQ(formatText("%l"), "%l");
    EXPECT_EQ(formatText("%@", "%@"), "%@");
}

PlatformError makeError(Dictionary userInfo) {
    return {"D", 42, std::move(userInfo)};
}

TEST(PlatformErrorTest, DescriptionQuotesTheBestText) {
    EXPECT_EQ(makeError({}).description(), "Error Domain=D Code=42 \"(null)\"");
    EXPECT_EQ(makeError({{"NSDebugDescription", Value::string("why")}}).description(),
              "Error Domain=D Code=42 \"why\" UserInfo={NSDebugDescription=why}");
    EXPECT_EQ(makeError({{"NSDebugDescription", Value::string("why")},
                         {"NSLocalizedDescription", Value::string("It failed.")}})
                  .description(),
              "Error Domain=D Code=42 \"It failed.\" UserInfo={NSDebugDescription=why, "
              "NSLocalizedDescription=It failed.}");
}

} // namespace
} // namespace vmr::test
