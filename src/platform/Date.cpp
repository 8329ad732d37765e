#include "platform/Date.h"

#include "platform/Calendar.h"
#include "platform/NumberText.h"

namespace vmr {

std::string Date::description() const {
    const CalendarFields fields = calendarFieldsInUTC(*this);
    std::string text;
    text.reserve(26);
    appendPadded(text, fields.year, 4);
    text += '-';
    appendPadded(text, fields.month, 2);
    text += '-';
    appendPadded(text, fields.day, 2);
    text += ' ';
    appendPadded(text, fields.hour, 2);
    text += ':';
    appendPadded(text, fields.minute, 2);
    text += ':';
    appendPadded(text, fields.second, 2);
    text += " +0000";
    return text;
}

} // namespace vmr
