#include "platform/Calendar.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

namespace vmr {
namespace {

std::string text(const CalendarFields &fields) {
    const int offset = std::abs(fields.offsetSeconds);
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "%04lld-%02d-%02d %02d:%02d:%02d %c%02d%02d%02d%s",
                  static_cast<long long>(fields.year), fields.month, fields.day, fields.hour,
                  fields.minute, fields.second, fields.offsetSeconds < 0 ? '-' : '+', offset / 3600,
                  offset / 60 % 60, offset % 60, fields.beforeChrist ? " BC" : "");
    return buffer;
}

/// Moves the process into another zone for a test's length.
class ZoneGuard {
public:
    explicit ZoneGuard(const char *name) {
        if (const char *current = std::getenv("TZ"))
            previous_ = current;
        set(name);
    }
    ~ZoneGuard() { set(previous_ ? previous_->c_str() : nullptr); }

private:
    static void set(const char *name) {
        if (name != nullptr)
            setenv("TZ", name, 1);
        else
            unsetenv("TZ");
        tzset();
    }
    std::optional<std::string> previous_;
};

std::string localText(const char *zone, Date date) {
    const ZoneGuard guard(zone);
    return text(calendarFieldsInLocalTime(date));
}

TEST(CalendarTest, JulianBeforeTheCutover) {
    EXPECT_EQ(text(calendarFieldsInUTC(Date{-12219292800})), "1582-10-15 00:00:00 +000000");
    EXPECT_EQ(text(calendarFieldsInUTC(Date{-12219292801})), "1582-10-04 23:59:59 +000000");
    // 29 February 1500 exists in the Julian calendar alone.
    EXPECT_EQ(text(calendarFieldsInUTC(Date{-14825808000})), "1500-03-01 00:00:00 +000000");
    EXPECT_EQ(text(calendarFieldsInUTC(Date{-14825808001})), "1500-02-29 23:59:59 +000000");
    EXPECT_EQ(text(calendarFieldsInUTC(Date{-62135769601})), "0001-12-31 23:59:59 +000000 BC");
}

TEST(CalendarTest, FractionsOfASecondAreDroppedDownwards) {
    EXPECT_EQ(text(calendarFieldsInUTC(Date{-0.25})), "1969-12-31 23:59:59 +000000");
}

TEST(CalendarTest, LocalTimeFollowsTheZoneAtThatMoment) {
    if (!std::filesystem::exists("/usr/share/zoneinfo/Europe/Paris"))
        GTEST_SKIP() << "no zone database";
    EXPECT_EQ(localText("Europe/Paris", Date{1614866767}), "2021-03-04 15:06:07 +010000");
    EXPECT_EQ(localText("Europe/Paris", Date{1616893199}), "2021-03-28 01:59:59 +010000");
    EXPECT_EQ(localText("Europe/Paris", Date{1616893200}), "2021-03-28 03:00:00 +020000");
    EXPECT_EQ(localText("Asia/Kolkata", Date{1614866767}), "2021-03-04 19:36:07 +053000");
    EXPECT_EQ(localText("America/St_Johns", Date{1614866767}), "2021-03-04 10:36:07 -033000");
    EXPECT_EQ(localText("UTC", Date{1614866767}), "2021-03-04 14:06:07 +000000");
}

TEST(CalendarTest, BeforeStandardTimeOffsetsHaveSeconds) {
    if (!std::filesystem::exists("/usr/share/zoneinfo/Europe/Paris"))
        GTEST_SKIP() << "no zone database";
    const Date past = Date::distantPast();
    EXPECT_EQ(localText("Europe/Paris", past), "0001-01-01 00:09:21 +000921");
    EXPECT_EQ(localText("Asia/Kolkata", past), "0001-01-01 05:53:28 +055328");
    EXPECT_EQ(localText("America/St_Johns", past), "0001-12-31 20:29:08 -033052 BC");
}

} // namespace
} // namespace vmr
