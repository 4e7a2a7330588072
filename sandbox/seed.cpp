// Filling an empty database.

#include "seed.h"

#include "money.h"
#include "passwords.h"
#include "seedtrackers.h"

#include <string>

namespace {
constexpr std::int64_t DemoAccount = 1;
constexpr Cents DemoBalance = 41250;

void addAccount(Database &database)
{
    const PasswordHash password = hashPassword(DemoPassword);
    Statement(database,
              "INSERT INTO account (id, email, name, password_salt, password_hash,"
              " password_iterations, balance_cents) VALUES (?, ?, ?, ?, ?, ?, ?)",
              DemoAccount, DemoEmail, "Mara Lindqvist", Statement::Blob{password.salt},
              Statement::Blob{password.hash}, std::int64_t{password.iterations}, DemoBalance)
        .run();
}

void addTracker(Database &database, const SeedTracker &tracker, Day today)
{
    Statement(database,
              "INSERT INTO tracker (serial, account_id, name, compe_id, firmware, imsi, extended,"
              " provisioned) VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
              tracker.serial, DemoAccount, tracker.name, tracker.compeId, tracker.firmware,
              tracker.imsi, std::int64_t{tracker.extended ? 1 : 0},
              std::int64_t{tracker.imsi[0] == '\0' ? 0 : 1})
        .run();
    for (const int group : tracker.groups) {
        if (group != 0) {
            Statement(database, "INSERT INTO group_member (group_id, serial) VALUES (?, ?)",
                      std::int64_t{group}, tracker.serial)
                .run();
        }
    }
    for (const SeedPeriod &period : tracker.periods) {
        if (period.days != 0) {
            const Day first = today + period.start;
            Statement(database,
                      "INSERT INTO activation (serial, first_day, last_day, cost_cents)"
                      " VALUES (?, ?, ?, ?)",
                      tracker.serial, dayText(first), dayText(first + period.days - 1),
                      priceOf(tracker.extended, period.days))
                .run();
        }
    }
}
} // namespace

void seed(Database &database, Day today)
{
    addAccount(database);
    for (const SeedGroup &group : SeedGroups) {
        Statement(database, "INSERT INTO tracker_group (id, account_id, name) VALUES (?, ?, ?)",
                  std::int64_t{group.id}, DemoAccount, group.name)
            .run();
    }
    for (const SeedTracker &tracker : SeedTrackers)
        addTracker(database, tracker, today);
}
