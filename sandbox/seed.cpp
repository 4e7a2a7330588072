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
    auto account =
        statement(database,
                  "INSERT INTO account (id, email, name, password_iterations, balance_cents,"
                  " password_salt, password_hash) VALUES (?, ?, ?, ?, ?, ?, ?)",
                  DemoAccount, DemoEmail, "Mara Lindqvist", password.iterations, DemoBalance);
    account.bind(6, password.salt.data(), static_cast<int>(password.salt.size()));
    account.bind(7, password.hash.data(), static_cast<int>(password.hash.size()));
    account.exec();
}

void addTracker(Database &database, const SeedTracker &tracker, Day today)
{
    statement(database,
              "INSERT INTO tracker (serial, account_id, name, compe_id, firmware, imsi, extended,"
              " provisioned) VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
              tracker.serial, DemoAccount, tracker.name, tracker.compeId, tracker.firmware,
              tracker.imsi, tracker.extended ? 1 : 0, tracker.imsi[0] == '\0' ? 0 : 1)
        .exec();
    for (const int group : tracker.groups) {
        if (group != 0) {
            statement(database, "INSERT INTO group_member (group_id, serial) VALUES (?, ?)", group,
                      tracker.serial)
                .exec();
        }
    }
    for (const SeedPeriod &period : tracker.periods) {
        if (period.days != 0) {
            const Day first = today + period.start;
            statement(database,
                      "INSERT INTO activation (serial, first_day, last_day, cost_cents)"
                      " VALUES (?, ?, ?, ?)",
                      tracker.serial, dayText(first), dayText(first + period.days - 1),
                      priceOf(tracker.extended, period.days))
                .exec();
        }
    }
}
} // namespace

void seed(Database &database, Day today)
{
    addAccount(database);
    for (const SeedGroup &group : SeedGroups) {
        statement(database, "INSERT INTO tracker_group (id, account_id, name) VALUES (?, ?, ?)",
                  group.id, DemoAccount, group.name)
            .exec();
    }
    for (const SeedTracker &tracker : SeedTrackers)
        addTracker(database, tracker, today);
}
