// Calendar days: reading, writing, and what day it is.

#include "calendar.h"

#include "texts.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace {
static_assert(sizeof(std::time_t) >= 8, "times end before LastDay");
constexpr std::time_t SecondsPerDay = 86400;
// In the middle of its day a time stays in it where the machine counts leap seconds.
constexpr std::time_t Noon = SecondsPerDay / 2;

Day dayOf(int year, int month, int day)
{
    std::tm date{};
    date.tm_year = year - 1900;
    date.tm_mon = month - 1;
    date.tm_mday = day;
    date.tm_hour = 12;
    return static_cast<Day>((timegm(&date) - Noon) / SecondsPerDay);
}
} // namespace

std::optional<Day> dayFromText(std::string_view text)
{
    if (text.size() != 10)
        return std::nullopt;
    const auto year = static_cast<int>(numberFromText(text.substr(0, 4)).value_or(0));
    const auto month = static_cast<int>(numberFromText(text.substr(5, 2)).value_or(0));
    const auto day = static_cast<int>(numberFromText(text.substr(8, 2)).value_or(0));
    const Day result = dayOf(year, month, day);
    // What the calendar does not have comes back as another day.
    if (year < 1 || dayText(result) != text)
        return std::nullopt;
    return result;
}

std::string dayText(Day day)
{
    const std::time_t time = day * SecondsPerDay + Noon;
    std::tm date{};
    gmtime_r(&time, &date);
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d", date.tm_year + 1900, date.tm_mon + 1,
                  date.tm_mday);
    return text.data();
}

Day currentDay()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return dayOf(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}
