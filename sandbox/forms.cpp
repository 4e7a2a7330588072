// Decoding of form items.

#include "forms.h"

#include "refusals.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace {
int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool isUtf8(const std::string &text)
{
    try {
        // The writer's own strictness: what passes here can be written into a reply later.
        static_cast<void>(nlohmann::json(text).dump());
        return true;
    } catch (const nlohmann::json::type_error &) {
        return false;
    }
}

std::string decoded(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+') {
            result += ' ';
        } else if (text[i] != '%') {
            result += text[i];
        } else {
            const int high = i + 1 < text.size() ? hexDigit(text[i + 1]) : -1;
            const int low = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
            if (high < 0 || low < 0)
                throw BadRequest("A percent sign in the form is not followed by two hex digits.");
            result += static_cast<char>(high * 16 + low);
            i += 2;
        }
    }
    if (!isUtf8(result))
        throw BadRequest("The form holds text that is not UTF-8.");
    return result;
}
} // namespace

Form Form::decode(std::string_view text)
{
    Form form;
    while (!text.empty()) {
        const std::size_t end = text.find('&');
        const std::string_view item = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (item.empty())
            continue;
        const std::size_t equals = item.find('=');
        std::string name = decoded(item.substr(0, equals));
        std::string value =
            equals == std::string_view::npos ? std::string() : decoded(item.substr(equals + 1));
        if (!form.m_items.emplace(std::move(name), std::move(value)).second)
            throw BadRequest("The form holds an item twice.");
    }
    return form;
}

const std::string &Form::value(const std::string &name) const
{
    const auto item = m_items.find(name);
    if (item == m_items.end())
        throw BadRequest("The item \"" + name + "\" is missing.");
    return item->second;
}
