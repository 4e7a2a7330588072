// Amounts of money: whole cents inside, text outside, and what booking costs.

#ifndef SANDBOX_MONEY_H
#define SANDBOX_MONEY_H

#include <array>
#include <cinttypes>
#include <cstdio>
#include <string>

/// Whole euro cents.
using Cents = std::int64_t;

constexpr Cents NormalPerDay = 50;
constexpr Cents ExtendedPerDay = 100;

/// What one tracker costs for a period of that many days.
inline Cents priceOf(bool extendedProfile, int days)
{
    return (extendedProfile ? ExtendedPerDay : NormalPerDay) * days;
}

/// The amount as "412.50 EUR".
inline std::string moneyText(Cents amount)
{
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%" PRId64 ".%02" PRId64 " EUR", amount / 100,
                  amount % 100);
    return text.data();
}

#endif // SANDBOX_MONEY_H
