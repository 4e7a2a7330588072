// Calendar days: reading, writing, and what day it is.

#include "calendar.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>

namespace {
// Years begin in March here: the leap day is then the last of its year, and months add up simply.
constexpr int DaysPerEra = 146097; // 400 years
constexpr int EpochShift = 719468; // from 0000-03-01 to 1970-01-01

Day dayFromCivil(int year, int month, int day)
{
    const int shifted = month <= 2 ? year - 1 : year;
    const int era = shifted / 400;
    const int yearOfEra = shifted - era * 400;
    const int dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * DaysPerEra + dayOfEra - EpochShift;
}

std::optional<int> digits(std::string_view text)
{
    for (const char c : text) {
        if (c < '0' || c > '9')
            return std::nullopt;
    }
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}
} // namespace

std::optional<Day> dayFromText(std::string_view text)
{
    if (text.size() != 10 || text[4] != '-' || text[7] != '-')
        return std::nullopt;
    const std::optional<int> year = digits(text.substr(0, 4));
    const std::optional<int> month = digits(text.substr(5, 2));
    const std::optional<int> day = digits(text.substr(8, 2));
    if (!year || !month || !day || *year < 1 || *month < 1 || *month > 12 || *day < 1)
        return std::nullopt;
    const Day result = dayFromCivil(*year, *month, *day);
    // A day that its month does not have would come back as one of the next month.
    if (dayText(result) != text)
        return std::nullopt;
    return result;
}

std::string dayText(Day day)
{
    const int shifted = day + EpochShift;
    const int era = shifted / DaysPerEra;
    const int dayOfEra = shifted - era * DaysPerEra;
    const int yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / (DaysPerEra - 1)) / 365;
    const int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int monthFromMarch = (5 * dayOfYear + 2) / 153;
    const int dayOfMonth = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
    const int month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    const int year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);

    std::array<char, 40> text{};
    const int length =
        std::snprintf(text.data(), text.size(), "%04d-%02d-%02d", year, month, dayOfMonth);
    return std::string(text.data(), static_cast<std::size_t>(length));
}

Day currentDay()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return dayFromCivil(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}
