// Groups and trackers.

#include "trackers.h"

#include "money.h"
#include "refusals.h"
#include "texts.h"

#include <algorithm>

namespace {
using nlohmann::json;

constexpr std::int64_t MaxNameLength = 200;

std::int64_t checkedGroup(const Database &database, std::int64_t account, const std::string &text)
{
    const std::int64_t group = numberFromText(text).value_or(-1);
    auto found = statement(database, "SELECT 1 FROM tracker_group WHERE id = ? AND account_id = ?",
                           group, account);
    if (!found.executeStep())
        throw Refusal("There is no group " + inQuotes(text) + " in this account.");
    return group;
}

json otherGroups(const Database &database, std::int64_t group, const std::string &serial)
{
    json groups = json::array();
    auto other = statement(database,
                           "SELECT group_id FROM group_member WHERE serial = ? AND group_id <> ?"
                           " ORDER BY group_id",
                           serial, group);
    while (other.executeStep())
        groups.push_back({{"id", other.getColumn(0).getString()}});
    return groups;
}

/// Fills in the periods and says whether one of them is running today.
bool addPeriods(const Database &database, const std::string &serial, Day today, json &periods)
{
    const std::string day = dayText(today);
    bool running = false;
    auto period = statement(database,
                            "SELECT id, first_day, last_day FROM activation WHERE serial = ?"
                            " ORDER BY first_day",
                            serial);
    while (period.executeStep()) {
        const std::string first = period.getColumn(1).getString();
        const std::string last = period.getColumn(2).getString();
        running = running || (first <= day && day <= last);
        periods.push_back({{"id", period.getColumn(0).getString()},
                           {"startTime", first},
                           {"endTime", last},
                           {"done", first <= day ? "1" : "0"}});
    }
    return running;
}

void checkMember(const Database &database, std::int64_t account, const std::string &groupLabel,
                 const std::string &serial)
{
    const std::string id = groupLabel.substr(0, groupLabel.find(' '));
    const std::int64_t group = checkedGroup(database, account, id);
    auto member = statement(
        database, "SELECT 1 FROM group_member WHERE group_id = ? AND serial = ?", group, serial);
    if (!member.executeStep())
        throw Refusal("There is no tracker " + inQuotes(serial) + " in group " + id + ".");
}

std::int64_t characters(const std::string &utf8)
{
    return std::count_if(utf8.begin(), utf8.end(),
                         [](char c) { return (static_cast<unsigned char>(c) & 0xc0U) != 0x80U; });
}
} // namespace

std::string balanceText(const Database &database, std::int64_t account)
{
    auto balance = statement(database, "SELECT balance_cents FROM account WHERE id = ?", account);
    return balance.executeStep() ? moneyText(balance.getColumn(0).getInt64()) : std::string();
}

json groupList(const Database &database, std::int64_t account)
{
    json groups = json::array();
    auto group = statement(
        database, "SELECT id, name FROM tracker_group WHERE account_id = ? ORDER BY id", account);
    while (group.executeStep())
        groups.push_back({{"id", group.getColumn(0).getString()},
                          {"group_name", group.getColumn(1).getString()}});
    return groups;
}

json trackerList(const Database &database, std::int64_t account, const std::string &group,
                 Day today)
{
    const std::int64_t groupId = checkedGroup(database, account, group);
    json trackers = json::array();
    auto row = statement(database,
                         "SELECT serial, name, compe_id, firmware, imsi, extended, provisioned"
                         " FROM tracker JOIN group_member USING (serial) WHERE group_id = ?"
                         " ORDER BY serial",
                         groupId);
    while (row.executeStep()) {
        const std::string serial = row.getColumn(0).getString();
        json periods = json::array();
        const bool running = addPeriods(database, serial, today, periods);
        // Without a SIM card there is no state to tell, whatever is booked.
        const json state = row.getColumn(6).getInt() == 0 ? json() : json(running ? "A" : "");
        trackers.push_back({{"deviceSn", serial},
                            {"TrackerName", row.getColumn(1).getString()},
                            {"compe_id", row.getColumn(2).getString()},
                            {"state", state},
                            {"v", row.getColumn(3).getString()},
                            {"imsi", row.getColumn(4).getString()},
                            {"p", row.getColumn(5).getInt() != 0 ? "E" : "N"},
                            {"groups", otherGroups(database, groupId, serial)},
                            {"activations", periods}});
    }
    return trackers;
}

std::string trackerName(const Database &database, std::int64_t account,
                        const std::string &groupLabel, const std::string &serial)
{
    checkMember(database, account, groupLabel, serial);
    auto tracker = statement(database, "SELECT name FROM tracker WHERE serial = ?", serial);
    return tracker.executeStep() ? tracker.getColumn(0).getString() : std::string();
}

void renameTracker(Database &database, std::int64_t account, const std::string &groupLabel,
                   const std::string &serial, const std::string &name)
{
    if (characters(name) > MaxNameLength)
        throw Refusal("The name is longer than 200 characters.");
    const auto isControl = [](char c) {
        return (c >= 0 && c < 0x20) || c == 0x7f;
    };
    if (std::any_of(name.begin(), name.end(), isControl))
        throw Refusal("The name holds control characters.");
    Transaction transaction(database);
    checkMember(database, account, groupLabel, serial);
    statement(database, "UPDATE tracker SET name = ? WHERE serial = ?", name, serial).exec();
    transaction.commit();
}

void setProfile(Database &database, std::int64_t account, const std::string &extend,
                const std::vector<std::string> &serials)
{
    if (extend != "Y" && extend != "N")
        throw Refusal("The profile " + inQuotes(extend) + " is neither \"Y\" nor \"N\".");
    if (serials.empty())
        throw Refusal("No tracker was named, so no profile was set.");
    Transaction transaction(database);
    for (const std::string &serial : serials) {
        auto change = statement(
            database, "UPDATE tracker SET extended = ? WHERE serial = ? AND account_id = ?",
            extend == "Y" ? 1 : 0, serial, account);
        if (change.exec() != 1)
            throw Refusal("There is no tracker " + inQuotes(serial) + " in this account.");
    }
    transaction.commit();
}
