// Booking and removing activation periods, with what they cost.

#ifndef SANDBOX_BOOKINGS_H
#define SANDBOX_BOOKINGS_H

#include "calendar.h"
#include "postedjson.h"
#include "sqlite.h"

#include <cstdint>
#include <string>
#include <vector>

/// Books all the periods and takes their price off the account's balance, or throws Refusal and
/// leaves everything as it was.
void bookPeriods(Database &database, std::int64_t account, const std::vector<PostedPeriod> &periods,
                 Day today);

/// Removes a period that has not begun and gives back what was paid for it, or throws Refusal.
/// The identifier is decimal text.
void removePeriod(Database &database, std::int64_t account, const std::string &id, Day today);

#endif // SANDBOX_BOOKINGS_H
