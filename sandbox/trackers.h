// The account's groups and trackers: what the lists show, and changes that cost nothing.

#ifndef SANDBOX_TRACKERS_H
#define SANDBOX_TRACKERS_H

#include "calendar.h"
#include "sqlite.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The account's balance as clients show it.
std::string balanceText(const Database &database, std::int64_t account);

/// The account's groups by id: [{"id": text, "group_name": text}, ...].
nlohmann::json groupList(const Database &database, std::int64_t account);

/// The group's trackers by serial number, with their other groups and their periods. The group is
/// decimal text; throws Refusal if the account has no such group.
nlohmann::json trackerList(const Database &database, std::int64_t account, const std::string &group,
                           Day today);

/// The tracker's name. The group is a list entry's whole label, "12 - Alpine Cup", or the bare id.
/// Throws Refusal if the account has no such group or the group no such tracker.
std::string trackerName(const Database &database, std::int64_t account,
                        const std::string &groupLabel, const std::string &serial);

/// Sets the name of the same tracker. Throws Refusal as above, and for a name of more than 200
/// characters or with control characters in it.
void renameTracker(Database &database, std::int64_t account, const std::string &groupLabel,
                   const std::string &serial, const std::string &name);

/// Sets the profile of all the trackers ("Y" extended, "N" normal), or throws Refusal and changes
/// none. Periods already booked keep their price.
void setProfile(Database &database, std::int64_t account, const std::string &extend,
                const std::vector<std::string> &serials);

#endif // SANDBOX_TRACKERS_H
