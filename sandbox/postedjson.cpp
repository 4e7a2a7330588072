// Reading the JSON array of the commands.

#include "postedjson.h"

#include "refusals.h"

#include <nlohmann/json.hpp>

namespace {
using nlohmann::json;

constexpr int MaxDepth = 16;

json arrayOf(const std::string &text)
{
    const auto shallow = [](int depth, json::parse_event_t, const json &) {
        if (depth > MaxDepth)
            throw BadRequest("\"posted\" is nested too deeply.");
        return true;
    };
    try {
        json result = json::parse(text, shallow);
        if (!result.is_array())
            throw BadRequest("\"posted\" is not a JSON array.");
        return result;
    } catch (const json::exception &) {
        throw BadRequest("\"posted\" is not JSON.");
    }
}

std::string textMember(const json &element, const char *name)
{
    if (!element.is_object())
        throw BadRequest("\"posted\" holds an element that is not an object.");
    const auto member = element.find(name);
    if (member == element.end() || !member->is_string()) {
        throw BadRequest("\"posted\" holds an element without the text \"" + std::string(name) +
                         "\".");
    }
    return member->get<std::string>();
}
} // namespace

std::vector<PostedPeriod> periodsFromJson(const std::string &text)
{
    std::vector<PostedPeriod> periods;
    for (const json &element : arrayOf(text)) {
        periods.push_back({textMember(element, "deviceSn"), textMember(element, "start"),
                           textMember(element, "days")});
    }
    return periods;
}

std::vector<std::string> serialsFromJson(const std::string &text)
{
    std::vector<std::string> serials;
    for (const json &element : arrayOf(text))
        serials.push_back(textMember(element, "deviceSn"));
    return serials;
}
