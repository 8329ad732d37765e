#include "platform/Format.h"
#include "platform/PlatformError.h"

#include <gtest/gtest.h>

#include <limits>

namespace vmr::test {
namespace {

TEST(FormatTest, ObjectsPrintTheirDescription) {
    const std::optional<std::string> nothing;
    EXPECT_EQ(format("%@;%@;%@", "id", nothing, Value::null()), "id;(null);<null>");
    EXPECT_EQ(format("%@ %@", Value(), 1.5), "(null) 1.5");
    EXPECT_EQ(format("%@", Dictionary{{"a", Value::integer(1)}}), "{\n    a = 1;\n}");
    EXPECT_EQ(format("%@", Date{0}), "1970-01-01 00:00:00 +0000");
    EXPECT_EQ(format("[%@]", std::string("a\0b", 3)), std::string("[a\0b]", 5));
}

TEST(FormatTest, NumbersPrintLikeC) {
    EXPECT_EQ(format("%ld %lu %d", std::int64_t{-5}, std::size_t{7}, true), "-5 7 1");
    EXPECT_EQ(format("%lu", -1), "18446744073709551615");
    EXPECT_EQ(format("%x", 233), "e9");
    EXPECT_EQ(format("%f %f", 1.5, 1), "1.500000 1.000000");
    EXPECT_EQ(format("%f", -std::numeric_limits<double>::max()).size(), 317U);
    EXPECT_EQ(format("%ld", Value::integer(9)), "9");
}

TEST(FormatTest, PlaceholdersAndArgumentsMayNotMatchInNumber) {
    EXPECT_EQ(format("100%% of %s"), "100% of (null)");
    EXPECT_EQ(format("%ld", Value()), "0");
    EXPECT_EQ(format("%ld and %f"), "(null) and (null)");
    EXPECT_EQ(format("plain", 1, 2), "plain");
    EXPECT_EQ(format("%q %@ %", "x"), "%q x %");
    EXPECT_EQ(format("%l"), "%l");
    EXPECT_EQ(format("%@", "%@"), "%@");
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

TEST(PlatformErrorTest, LocalizedDescriptionFallsBackStepByStep) {
    EXPECT_EQ(makeError({}).localizedDescription(),
              "The operation couldn’t be completed. (D error 42.)");
    Dictionary info{{"NSLocalizedFailureReason", Value::string("No room.")}};
    EXPECT_EQ(makeError(info).localizedDescription(),
              "The operation couldn’t be completed. No room.");
    info.emplace("NSLocalizedFailure", Value::string("Not saved."));
    EXPECT_EQ(makeError(info).localizedDescription(), "Not saved. No room.");
    info.emplace("NSLocalizedDescription", Value::string("Own text."));
    EXPECT_EQ(makeError(info).localizedDescription(), "Own text.");
}

} // namespace
} // namespace vmr::test
