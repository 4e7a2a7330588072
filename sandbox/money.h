// Amounts of money: whole cents inside, text outside, and what booking costs.

#ifndef SANDBOX_MONEY_H
#define SANDBOX_MONEY_H

#include <cstdint>
#include <string>

/// Whole euro cents.
using Cents = std::int64_t;

/// What one tracker costs for a period of that many days.
Cents priceOf(bool extendedProfile, int days);

/// The amount as "412.50 EUR".
std::string moneyText(Cents amount);

#endif // SANDBOX_MONEY_H
