// The sandbox's posted arrays: what is read is what an independent reader of JSON finds, and
// everything that is not of the right shape is refused as a bad request and by nothing else.

#include "target.h"

#include "sandbox/postedjson.h"
#include "sandbox/refusals.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {
std::optional<std::vector<PostedPeriod>> periodsOf(const std::string &text)
{
    try {
        return periodsFromJson(text);
    } catch (const BadRequest &error) {
        mustHold(*error.what() != '\0', "a refusal says why");
        return std::nullopt;
    }
}

std::optional<std::vector<std::string>> serialsOf(const std::string &text)
{
    try {
        return serialsFromJson(text);
    } catch (const BadRequest &) {
        return std::nullopt;
    }
}

/// How many arrays and objects stand around the innermost value or name, counted outside of texts.
int depthOf(const std::string &json)
{
    static constexpr std::string_view NoValue = ",:]} \t\r\n";
    int depth = 0;
    int deepest = 0;
    bool inText = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const char c = json[i];
        if (inText) {
            i += c == '\\' ? 1 : 0;
            inText = c != '"';
            continue;
        }
        if (NoValue.find(c) == NoValue.npos)
            deepest = std::max(deepest, depth);
        inText = c == '"';
        depth += c == '[' || c == '{' ? 1 : 0;
        depth -= c == ']' || c == '}' ? 1 : 0;
    }
    return deepest;
}

bool hasTexts(const nlohmann::json &array, const std::vector<const char *> &names)
{
    for (const nlohmann::json &element : array) {
        for (const char *name : names) {
            if (!element.is_object() || !element.contains(name) || !element[name].is_string())
                return false;
        }
    }
    return true;
}

nlohmann::json written(const std::vector<PostedPeriod> &periods)
{
    nlohmann::json array = nlohmann::json::array();
    for (const PostedPeriod &period : periods) {
        array.push_back(
            {{"deviceSn", period.serial}, {"start", period.start}, {"days", period.days}});
    }
    return array;
}
} // namespace

int LLVMFuzzerInitialize(int *, char ***)
{
    return 0;
}

void endTarget() {}

int LLVMFuzzerTestOneInput(const std::uint8_t *pData, std::size_t iSize)
{
    const std::string text(pData, pData + iSize);
    const auto periods = periodsOf(text);
    const auto serials = serialsOf(text);
    const nlohmann::json whole = nlohmann::json::parse(text, nullptr, false);
    // The library takes a zero byte for the end of the text and passes over what follows.
    const bool isArray = whole.is_array() && depthOf(text.substr(0, text.find('\0'))) <= 16;
    mustHold(serials.has_value() == (isArray && hasTexts(whole, {"deviceSn"})),
             "serial numbers are read exactly where the text is an array of objects with them");
    mustHold(periods.has_value() == (isArray && hasTexts(whole, {"deviceSn", "start", "days"})),
             "periods are read exactly where the text is an array of objects with all three texts");
    if (serials) {
        mustHold(serials->size() == whole.size(), "every element is one serial number");
        for (std::size_t i = 0; i < whole.size(); ++i)
            mustHold(whole[i]["deviceSn"] == (*serials)[i], "a serial number is read as it stands");
    }
    if (periods) {
        const auto again = periodsOf(written(*periods).dump());
        mustHold(again && written(*again) == written(*periods), "periods survive being sent again");
        for (std::size_t i = 0; i < whole.size(); ++i)
            mustHold(whole[i]["start"] == (*periods)[i].start &&
                         whole[i]["days"] == (*periods)[i].days,
                     "a period is read as it stands");
    }
    return 0;
}
