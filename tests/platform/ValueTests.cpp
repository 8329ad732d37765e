#include "platform/UUID.h"
#include "platform/Value.h"

#include <gtest/gtest.h>

#include <limits>

namespace vmr::test {
namespace {

TEST(Values, AreObjectsThatCopiesShare) {
    EXPECT_TRUE(Value::record(nullptr).isIdenticalTo(Value()));
    EXPECT_FALSE(Value().isIdenticalTo(Value::null()));
    const Value original = Value::list({Value()});
    const Value copy = original;
    EXPECT_TRUE(copy.isIdenticalTo(original));
    EXPECT_FALSE(original.isEqualTo(Value::list({Value::null()})));
    EXPECT_EQ(original.description(), "(\n    \"(null)\"\n)");
    EXPECT_FALSE(Value().boolValue() || Value().integerValue() != 0);
}

TEST(Values, DatesBeyondTheCalendarDoNotOverflow) {
    EXPECT_FALSE(Date{-std::numeric_limits<double>::infinity()}.description().empty());
    EXPECT_FALSE(Date{std::numeric_limits<double>::quiet_NaN()}.description().empty());
}

TEST(UUIDs, FreshOnesAreOfVersion4AndDiffer) {
    const std::string text = makeUUIDString();
    EXPECT_EQ(canonicalUUIDString(text), text);
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::string_view("89AB").find(text[19]), std::string_view::npos);
    EXPECT_NE(makeUUIDString(), text);
}

} // namespace
} // namespace vmr::test
