// Decoding of form items.

#include "forms.h"

#include "refusals.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <utility>

namespace {
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
            const std::string_view digits = text.substr(i + 1, 2);
            const char *const end = digits.data() + digits.size();
            unsigned byte = 0;
            if (digits.size() < 2 || std::from_chars(digits.data(), end, byte, 16).ptr != end)
                throw BadRequest("A percent sign in the form is not followed by two hex digits.");
            result += static_cast<char>(byte);
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
