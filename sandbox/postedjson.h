// The JSON array that the two commands for several trackers carry.

#ifndef SANDBOX_POSTEDJSON_H
#define SANDBOX_POSTEDJSON_H

#include <string>
#include <vector>

/// One element of an activation, as it was sent; nothing is checked but its shape.
struct PostedPeriod
{
    std::string serial;
    std::string start;
    std::string days;
};

/// Reads [{"deviceSn": ..., "start": ..., "days": ...}, ...], all members texts; other members are
/// passed over. Throws BadRequest for anything else.
std::vector<PostedPeriod> periodsFromJson(const std::string &text);

/// Reads [{"deviceSn": ...}, ...] in the same way.
std::vector<std::string> serialsFromJson(const std::string &text);

#endif // SANDBOX_POSTEDJSON_H
