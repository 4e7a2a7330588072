// Calendar days without a time of day, which is how periods are booked.

#ifndef SANDBOX_CALENDAR_H
#define SANDBOX_CALENDAR_H

#include <optional>
#include <string>
#include <string_view>

/// Days since 1970-01-01; negative before that day.
using Day = int;

/// The last day that has a text of ten characters: 9999-12-31.
constexpr Day LastDay = 2932896;

/// Reads exactly "yyyy-MM-dd" with ASCII digits; empty for anything else and for days that the
/// calendar does not have.
std::optional<Day> dayFromText(std::string_view text);

/// The day as "yyyy-MM-dd"; the day lies between 0001-01-01 and LastDay.
std::string dayText(Day day);

/// Today in the machine's time zone.
Day currentDay();

#endif // SANDBOX_CALENDAR_H
