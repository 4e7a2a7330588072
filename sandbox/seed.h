// The demonstration data that a new database begins with.

#ifndef SANDBOX_SEED_H
#define SANDBOX_SEED_H

#include "calendar.h"
#include "sqlite.h"

constexpr const char *DemoEmail = "operator@quillmora.example";
constexpr const char *DemoPassword = "demo-flight-7";

/// Fills empty tables: one account, three groups, sixty trackers, and periods before, on and after
/// that day. Runs inside the caller's transaction.
void seed(Database &database, Day today);

#endif // SANDBOX_SEED_H
