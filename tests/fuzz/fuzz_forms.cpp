// The sandbox's forms: any text is decoded as a second reading of the rules says, or refused where
// that refuses; and whatever was decoded comes back when it is encoded again.

#include "target.h"

#include "sandbox/forms.h"
#include "sandbox/refusals.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace {
using Items = std::map<std::string, std::string>;

/// By ranges of the standard's table of well-formed byte sequences.
bool isUtf8(std::string_view text)
{
    const auto isBetween = [&](std::size_t i, unsigned low, unsigned high) {
        return i < text.size() && static_cast<unsigned char>(text[i]) >= low &&
               static_cast<unsigned char>(text[i]) <= high;
    };
    const auto isTail = [&](std::size_t i, std::size_t count) {
        for (std::size_t end = i + count; i < end; ++i) {
            if (!isBetween(i, 0x80, 0xbf))
                return false;
        }
        return true;
    };
    std::size_t i = 0;
    while (i < text.size()) {
        if (isBetween(i, 0x00, 0x7f))
            i += 1;
        else if (isBetween(i, 0xc2, 0xdf) && isTail(i + 1, 1))
            i += 2;
        else if ((isBetween(i, 0xe0, 0xe0) && isBetween(i + 1, 0xa0, 0xbf) && isTail(i + 2, 1)) ||
                 (isBetween(i, 0xed, 0xed) && isBetween(i + 1, 0x80, 0x9f) && isTail(i + 2, 1)) ||
                 (isBetween(i, 0xe1, 0xef) && !isBetween(i, 0xed, 0xed) && isTail(i + 1, 2)))
            i += 3;
        else if ((isBetween(i, 0xf0, 0xf0) && isBetween(i + 1, 0x90, 0xbf) && isTail(i + 2, 2)) ||
                 (isBetween(i, 0xf1, 0xf3) && isTail(i + 1, 3)) ||
                 (isBetween(i, 0xf4, 0xf4) && isBetween(i + 1, 0x80, 0x8f) && isTail(i + 2, 2)))
            i += 4;
        else
            return false;
    }
    return true;
}

std::optional<std::string> decodedText(std::string_view text)
{
    static constexpr std::string_view Digits = "0123456789abcdef0123456789ABCDEF";
    std::string result;
    while (!text.empty()) {
        std::size_t used = 1;
        char c = text.front() == '+' ? ' ' : text.front();
        if (text.front() == '%') {
            const std::size_t high = text.size() < 3 ? Digits.npos : Digits.find(text[1]);
            const std::size_t low = text.size() < 3 ? Digits.npos : Digits.find(text[2]);
            if (high == Digits.npos || low == Digits.npos)
                return std::nullopt;
            c = static_cast<char>((high % 16) << 4U | low % 16);
            used = 3;
        }
        result.push_back(c);
        text.remove_prefix(used);
    }
    return isUtf8(result) ? std::optional<std::string>(result) : std::nullopt;
}

/// Nothing where the form must be refused.
std::optional<Items> decodedItems(const std::string &text)
{
    Items items;
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find('&', begin), text.size());
        const std::string item = text.substr(begin, end - begin);
        begin = end + 1;
        if (item.empty())
            continue;
        const std::size_t equals = std::min(item.find('='), item.size());
        const auto name = decodedText(std::string_view(item).substr(0, equals));
        const auto value =
            decodedText(std::string_view(item).substr(std::min(equals + 1, item.size())));
        if (!name || !value || items.count(*name) != 0)
            return std::nullopt;
        items[*name] = *value;
    }
    return items;
}

std::optional<Form> formOf(std::string_view text)
{
    try {
        return Form::decode(text);
    } catch (const BadRequest &) {
        return std::nullopt;
    }
}

std::string encoded(const std::string &text)
{
    static constexpr std::string_view Hex = "0123456789ABCDEF";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        result += {'%', Hex[byte >> 4U], Hex[byte & 15U]};
    }
    return result;
}

void compare(const Form &form, const Items &items)
{
    for (const auto &[name, value] : items)
        mustHold(form.value(name) == value, "an item has the value that was sent");
    std::string absent = "no such item";
    while (items.count(absent) != 0)
        absent += '!';
    bool refused = false;
    try {
        static_cast<void>(form.value(absent));
    } catch (const BadRequest &) {
        refused = true;
    }
    mustHold(refused, "an item that was not sent is missing");
}

/// Not for an item without a name and a value: written out, it would be none.
void sendAgain(const Items &items)
{
    std::string text;
    for (const auto &[name, value] : items)
        text.append("&").append(encoded(name)).append("=").append(encoded(value));
    const std::optional<Form> again = formOf(text);
    mustHold(again.has_value(), "what was decoded can be sent again");
    compare(*again, items);
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
    const std::optional<Items> items = decodedItems(text);
    const std::optional<Form> form = formOf(text);
    mustHold(form.has_value() == items.has_value(), "a form is refused where the rules refuse it");
    if (form) {
        compare(*form, *items);
        sendAgain(*items);
    }
    return 0;
}
