#include "ingest/TextForms.h"

#include <algorithm>
#include <chrono>

namespace velmora::ingest {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// True when `text` has the shape of `mask`, in which 0 stands for a digit, X for an upper-case
/// hexadecimal digit, + for a sign and everything else for itself.
bool hasShape(std::string_view text, std::string_view mask) {
    return std::equal(text.begin(), text.end(), mask.begin(), mask.end(), [](char c, char m) {
        switch (m) {
        case '0':
            return isDigit(c);
        case 'X':
            return isDigit(c) || (c >= 'A' && c <= 'F');
        case '+':
            return c == '+' || c == '-';
        default:
            return c == m;
        }
    });
}

int number(std::string_view text, std::size_t from, std::size_t count) {
    int value = 0;
    for (const char c : text.substr(from, count))
        value = value * 10 + (c - '0');
    return value;
}

std::chrono::year_month_day dayOf(std::string_view text) {
    return {std::chrono::year{number(text, 0, 4)},
            std::chrono::month{static_cast<unsigned>(number(text, 5, 2))},
            std::chrono::day{static_cast<unsigned>(number(text, 8, 2))}};
}

} // namespace

bool isDateText(std::string_view text) {
    if (!hasShape(text, "0000-00-00 00:00:00 +0000"))
        return false;
    return dayOf(text).ok() && number(text, 11, 2) < 24 && number(text, 14, 2) < 60 &&
           number(text, 17, 2) < 60 && number(text, 21, 2) < 24 && number(text, 23, 2) < 60;
}

std::optional<std::int64_t> momentOf(std::string_view text) {
    if (!isDateText(text))
        return std::nullopt;
    using namespace std::chrono;
    const minutes offset = hours(number(text, 21, 2)) + minutes(number(text, 23, 2));
    const auto local = sys_days(dayOf(text)) + hours(number(text, 11, 2)) +
                       minutes(number(text, 14, 2)) + seconds(number(text, 17, 2));
    return milliseconds((text[20] == '-' ? local + offset : local - offset).time_since_epoch())
        .count();
}

bool isUUIDText(std::string_view text) {
    return hasShape(text, "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX");
}

bool isLowerHexadecimal(std::string_view text, std::size_t length) {
    return text.size() == length && std::all_of(text.begin(), text.end(), [](char c) {
               return isDigit(c) || (c >= 'a' && c <= 'f');
           });
}

std::size_t utf16Length(std::string_view text) {
    std::size_t units = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80)
            units += byte >= 0xF0 ? 2 : 1;
    }
    return units;
}

} // namespace velmora::ingest
