// Form items, from a form post's body or from the query of a URL.

#ifndef SANDBOX_FORMS_H
#define SANDBOX_FORMS_H

#include <map>
#include <string>
#include <string_view>

/// Decoded items by their name. Every text is valid UTF-8 and may hold zero bytes.
class Form
{
public:
    /// Decodes "name=value&name=value" as forms are decoded everywhere: "+" is a blank, %XX a byte,
    /// everything else stands for itself. So a client must send a plus sign as %2B, while blanks,
    /// line feeds and UTF-8 may travel raw. An item without "=" has an empty value.
    /// Throws BadRequest on half a %XX, on text that is not UTF-8, and on a name that comes twice.
    static Form decode(std::string_view text);

    /// The item's value; throws BadRequest if the item is missing.
    const std::string &value(const std::string &name) const;

private:
    std::map<std::string, std::string> m_items;
};

#endif // SANDBOX_FORMS_H
