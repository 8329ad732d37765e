#include "device/DatePattern.h"

#include "platform/Calendar.h"
#include "platform/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace vmr {
namespace {

constexpr std::string_view fieldLetters = "yMdHmsSZ";

/// Sign, hours and minutes; offsets from before standard time show their seconds too.
void appendOffset(std::string &text, int offsetSeconds) {
    const int distance = std::abs(offsetSeconds);
    text.push_back(offsetSeconds < 0 ? '-' : '+');
    appendPadded(text, distance / 3600, 2);
    appendPadded(text, distance / 60 % 60, 2);
    if (distance % 60 != 0)
        appendPadded(text, distance % 60, 2);
}

/// The first `width` digits after the decimal point.
void appendFraction(std::string &text, int milliseconds, std::size_t width) {
    std::string digits;
    appendPadded(digits, milliseconds, 3);
    digits.resize(width, '0');
    text += digits;
}

void appendField(std::string &text, char letter, std::size_t width, const CalendarFields &fields,
                 int milliseconds) {
    switch (letter) {
    case 'y':
        return appendPadded(text, fields.year, width);
    case 'M':
        return appendPadded(text, fields.month, width);
    case 'd':
        return appendPadded(text, fields.day, width);
    case 'H':
        return appendPadded(text, fields.hour, width);
    case 'm':
        return appendPadded(text, fields.minute, width);
    case 's':
        return appendPadded(text, fields.second, width);
    case 'S':
        return appendFraction(text, milliseconds, width);
    default:
        return appendOffset(text, fields.offsetSeconds);
    }
}

} // namespace

DatePattern::DatePattern(std::string_view pattern, Zone zone) : zone_(zone) {
    while (!pattern.empty()) {
        const char first = pattern.front();
        std::size_t length = 1;
        if (first == '\'') {
            const auto quoted = pattern.substr(1, pattern.find('\'', 1) - 1);
            addLiteral(quoted);
            length = quoted.size() + 2;
        } else if (fieldLetters.find(first) != std::string_view::npos) {
            const auto end = pattern.find_first_not_of(first);
            length = end == std::string_view::npos ? pattern.size() : end;
            pieces_.push_back({first, length, {}});
        } else {
            addLiteral(pattern.substr(0, 1));
        }
        pattern.remove_prefix(std::min(length, pattern.size()));
    }
}

void DatePattern::addLiteral(std::string_view text) {
    pieces_.push_back({0, 0, std::string(text)});
}

std::string DatePattern::print(Date date) const {
    const double rounded = std::floor(date.secondsSince1970 * 1000 + 0.5);
    const double seconds = std::floor(rounded / 1000);
    // Dates beyond the precision of a double, or not numbers at all, have no fraction.
    const double rest = rounded - seconds * 1000;
    const int milliseconds = rest >= 0 && rest < 1000 ? static_cast<int>(rest) : 0;
    const auto fields = zone_ == Zone::gmt ? calendarFieldsInUTC(Date{seconds})
                                           : calendarFieldsInLocalTime(Date{seconds});
    std::string text;
    for (const auto &piece : pieces_) {
        if (piece.letter == 0)
            text += piece.literal;
        else
            appendField(text, piece.letter, piece.width, fields, milliseconds);
    }
    return text;
}

} // namespace vmr
