// Texts from outside: the numbers in them, and how they stand in a sentence.

#ifndef SANDBOX_TEXTS_H
#define SANDBOX_TEXTS_H

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// A decimal number of ASCII digits and nothing else; empty also when it is too big.
inline std::optional<std::int64_t> numberFromText(std::string_view text)
{
    if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos)
        return std::nullopt;
    std::int64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc())
        return std::nullopt;
    return value;
}

/// The text between quotes, cut after 40 bytes and without control characters: it came from outside
/// and is to stand in a sentence.
inline std::string inQuotes(std::string_view text)
{
    std::string result = "\"";
    for (const char c : text.substr(0, 40))
        result += (c >= 0 && c < 0x20) || c == 0x7f ? '?' : c;
    result += text.size() > 40 ? "...\"" : "\"";
    return result;
}

#endif // SANDBOX_TEXTS_H
