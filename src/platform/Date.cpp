#include "platform/Date.h"

#include "platform/Calendar.h"
#include "platform/NumberText.h"

#include <utility>

namespace vmr {

std::string Date::description() const {
    const CalendarFields fields = calendarFieldsInUTC(*this);
    std::string text;
    text.reserve(26);
    appendPadded(text, fields.year, 4);
    const std::pair<char, int> rest[] = {{'-', fields.month},
                                         {'-', fields.day},
                                         {' ', fields.hour},
                                         {':', fields.minute},
                                         {':', fields.second}};
    for (const auto &[separator, number] : rest) {
        text += separator;
        appendPadded(text, number, 2);
    }
    text += " +0000";
    return text;
}

} // namespace vmr
