// JSON as any service might write it.

#include "jsonvalue.h"

#include <QByteArrayList>
#include <QChar>
#include <QRandomGenerator>

#include <algorithm>

namespace {
constexpr int FewIn = 8; // one token in so many has blanks before it, one character an escape

QByteArray escaped(QChar character)
{
    return "\\u" + QByteArray::number(character.unicode(), 16).rightJustified(4, '0');
}

/// Surrogates go as escapes, alone or not: in UTF-8 half a pair would be no text.
QByteArray quoted(const QString &strText, QRandomGenerator *pRandom)
{
    QByteArray baText = "\"";
    for (const QChar character : strText) {
        const bool bEscape = pRandom && pRandom->bounded(FewIn) == 0;
        if (character == '"' || character == '\\')
            baText += '\\' + QByteArray(1, character.toLatin1());
        else if (character < ' ' || character.isSurrogate() || bEscape)
            baText += escaped(character);
        else
            baText += QString(character).toUtf8();
    }
    return baText + '"';
}

QByteArray blanks(QRandomGenerator *pRandom)
{
    if (!pRandom || pRandom->bounded(FewIn) != 0)
        return {};
    const QByteArray baAll = " \t\r\n";
    return baAll.mid(pRandom->bounded(baAll.size()));
}
} // namespace

JsonValue JsonValue::null()
{
    JsonValue value;
    value.m_type = Null;
    return value;
}

JsonValue JsonValue::boolean(bool bTrue)
{
    JsonValue value;
    value.m_type = Bool;
    value.m_bTrue = bTrue;
    return value;
}

JsonValue JsonValue::number(const QByteArray &baWritten)
{
    JsonValue value;
    value.m_type = Number;
    value.m_baNumber = baWritten;
    return value;
}

JsonValue JsonValue::text(const QString &strText)
{
    JsonValue value;
    value.m_type = Text;
    value.m_strText = strText;
    return value;
}

JsonValue JsonValue::array(const QVector<JsonValue> &items)
{
    JsonValue value;
    value.m_type = Array;
    value.m_items = items;
    return value;
}

JsonValue JsonValue::object(const QVector<Member> &members)
{
    JsonValue value;
    value.m_type = Object;
    value.m_members = members;
    return value;
}

JsonValue JsonValue::operator[](const char *pName) const
{
    const auto found =
        std::find_if(m_members.crbegin(), m_members.crend(),
                     [&](const Member &each) { return each.first == QLatin1String(pName); });
    return found == m_members.crend() ? JsonValue() : found->second;
}

QByteArray JsonValue::json(QRandomGenerator *pRandom) const
{
    QByteArrayList parts;
    switch (m_type) {
    case Missing:
    case Null:
        return blanks(pRandom) + "null";
    case Bool:
        return blanks(pRandom) + (m_bTrue ? "true" : "false");
    case Number:
        return blanks(pRandom) + m_baNumber;
    case Text:
        return blanks(pRandom) + quoted(m_strText, pRandom);
    case Array:
        for (const JsonValue &item : m_items)
            parts << item.json(pRandom);
        return blanks(pRandom) + '[' + parts.join(blanks(pRandom) + ',') + blanks(pRandom) + ']';
    case Object:
        for (const Member &member : m_members) {
            if (member.second.type() != Missing)
                parts << blanks(pRandom) + quoted(member.first, pRandom) + blanks(pRandom) + ':' +
                             member.second.json(pRandom);
        }
        return blanks(pRandom) + '{' + parts.join(blanks(pRandom) + ',') + blanks(pRandom) + '}';
    }
    return {};
}
