#include "platform/Calendar.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
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

} // namespace
} // namespace vmr
