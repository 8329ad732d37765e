#pragma once

#include "platform/Date.h"

#include <optional>

namespace vmr {

/// Whether the date is present and neither the distant past nor the distant future.
bool isVMRValid(const std::optional<Date> &date);
/// Whether both fall into the same minute of the local wall clock; false for an absent other.
bool isEqualToDateIgnoringSeconds(Date date, const std::optional<Date> &other);
/// start < date <= end: open at the start, closed at the end.
bool isBetweenDate(Date date, Date start, Date end);
/// Not later than.
bool isBefore(Date date, Date other);
/// Not earlier than.
bool isAfter(Date date, Date other);

} // namespace vmr
