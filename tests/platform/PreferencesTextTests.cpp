#include "platform/Preferences.h"
#include "support/MemoryPreferences.h"

#include <gtest/gtest.h>

namespace vmr::test {
namespace {

TEST(PreferencesTextTest, NumbersReadAsTextAndOtherTypesAsNothing) {
    MemoryPreferences preferences;
    const auto textOf = [&](const Value &value) {
        preferences.setObject(value, "key");
        return preferences.stringForKey("key");
    };
    EXPECT_EQ(textOf(Value::string("")), "");
    EXPECT_EQ(textOf(Value::integer(123)), "123");
    EXPECT_EQ(textOf(Value::real(1.5)), "1.5");
    EXPECT_EQ(textOf(Value::boolean(true)), "1");
    EXPECT_EQ(textOf(Value::boolean(false)), "0");
    for (const Value &other : {Value(), Value::date(Date{0}), Value::data(Data("a")),
                               Value::list({}), Value::dictionary({})})
        EXPECT_FALSE(textOf(other)) << other.description();
}

} // namespace
} // namespace vmr::test
