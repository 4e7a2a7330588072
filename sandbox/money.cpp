// Amounts of money: the price list and the text of an amount.

#include "money.h"

#include <array>
#include <cinttypes>
#include <cstdio>

namespace {
constexpr Cents NormalPerDay = 50;
constexpr Cents ExtendedPerDay = 100;
} // namespace

Cents priceOf(bool extendedProfile, int days)
{
    return (extendedProfile ? ExtendedPerDay : NormalPerDay) * days;
}

std::string moneyText(Cents amount)
{
    std::array<char, 40> text{};
    const int length = std::snprintf(text.data(), text.size(), "%" PRId64 ".%02" PRId64 " EUR",
                                     amount / 100, amount % 100);
    return std::string(text.data(), static_cast<std::size_t>(length));
}
