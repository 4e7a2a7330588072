// Booking and removing activation periods.

#include "bookings.h"

#include "money.h"
#include "refusals.h"
#include "texts.h"

#include <optional>

namespace {
constexpr std::int64_t MinDays = 2;
constexpr std::int64_t MaxDays = 365;

struct Period
{
    Day first = 0;
    Day last = 0;
};

Period checkedPeriod(const PostedPeriod &posted, Day today)
{
    const std::optional<Day> start = dayFromText(posted.start);
    if (!start)
        throw Refusal("The start " + inQuotes(posted.start) + " is not a date like 2026-03-01.");
    if (*start < today)
        throw Refusal("The start " + posted.start + " is before today.");
    const std::optional<std::int64_t> days = numberFromText(posted.days);
    if (!days || *days < MinDays || *days > MaxDays)
        throw Refusal("The days " + inQuotes(posted.days) + " are not a number from 2 to 365.");
    const Period period{*start, *start + static_cast<int>(*days) - 1};
    if (period.last > LastDay)
        throw Refusal("The period from " + posted.start + " ends after the year 9999.");
    return period;
}

void refuseOverlap(const Database &database, const std::string &serial, const Period &period)
{
    auto overlap = statement(database,
                             "SELECT first_day, last_day FROM activation"
                             " WHERE serial = ? AND first_day <= ? AND last_day >= ? LIMIT 1",
                             serial, dayText(period.last), dayText(period.first));
    if (overlap.executeStep()) {
        throw Refusal("Tracker " + serial + " is already booked from " +
                      overlap.getColumn(0).getString() + " to " + overlap.getColumn(1).getString() +
                      ".");
    }
}

/// Returns what the period costs; the balance is the caller's affair.
Cents bookPeriod(Database &database, std::int64_t account, const PostedPeriod &posted, Day today)
{
    auto tracker =
        statement(database, "SELECT extended FROM tracker WHERE serial = ? AND account_id = ?",
                  posted.serial, account);
    if (!tracker.executeStep())
        throw Refusal("There is no tracker " + inQuotes(posted.serial) + " in this account.");
    const Period period = checkedPeriod(posted, today);
    refuseOverlap(database, posted.serial, period);

    const Cents cost = priceOf(tracker.getColumn(0).getInt() != 0, period.last - period.first + 1);
    statement(database,
              "INSERT INTO activation (serial, first_day, last_day, cost_cents)"
              " VALUES (?, ?, ?, ?)",
              posted.serial, dayText(period.first), dayText(period.last), cost)
        .exec();
    return cost;
}
} // namespace

void bookPeriods(Database &database, std::int64_t account, const std::vector<PostedPeriod> &periods,
                 Day today)
{
    if (periods.empty())
        throw Refusal("No tracker was named, so nothing was booked.");
    Transaction transaction(database);
    Cents total = 0;
    for (const PostedPeriod &posted : periods)
        total += bookPeriod(database, account, posted, today);

    auto payment = statement(database,
                             "UPDATE account SET balance_cents = balance_cents - ?"
                             " WHERE id = ? AND balance_cents >= ?",
                             total, account, total);
    if (payment.exec() != 1)
        throw Refusal("The balance does not pay for this: " + moneyText(total) + " are needed.");
    transaction.commit();
}

void removePeriod(Database &database, std::int64_t account, const std::string &id, Day today)
{
    const std::optional<std::int64_t> number = numberFromText(id);
    Transaction transaction(database);
    auto period =
        statement(database,
                  "SELECT first_day, cost_cents FROM activation JOIN tracker USING (serial)"
                  " WHERE id = ? AND account_id = ?",
                  number.value_or(-1), account);
    if (!period.executeStep())
        throw Refusal("There is no activation " + inQuotes(id) + " in this account.");
    if (period.getColumn(0).getString() <= dayText(today))
        throw Refusal("Activation " + id + " has begun and cannot be removed.");

    const Cents cost = period.getColumn(1).getInt64();
    statement(database, "DELETE FROM activation WHERE id = ?", *number).exec();
    statement(database, "UPDATE account SET balance_cents = balance_cents + ? WHERE id = ?", cost,
              account)
        .exec();
    transaction.commit();
}
