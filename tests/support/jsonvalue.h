#ifndef TESTS_SUPPORT_JSONVALUE_H
#define TESTS_SUPPORT_JSONVALUE_H

#include <QByteArray>
#include <QMetaType>
#include <QPair>
#include <QString>
#include <QVector>

class QRandomGenerator;

/// A JSON value that a test makes and therefore knows. It writes itself, in a hand of its own: a
/// key may stand twice in an object, half a surrogate pair in a text, and a number as one likes.
class JsonValue
{
public:
    enum Type { Missing, Null, Bool, Number, Text, Array, Object };
    using Member = QPair<QString, JsonValue>;

    JsonValue() = default;
    static JsonValue null();
    static JsonValue boolean(bool bTrue);
    /// The number as it is to stand in the body.
    static JsonValue number(const QByteArray &baWritten);
    static JsonValue text(const QString &strText);
    static JsonValue array(const QVector<JsonValue> &items);
    static JsonValue object(const QVector<Member> &members);

    Type type() const { return m_type; }
    bool isTrue() const { return m_bTrue; }
    const QByteArray &written() const { return m_baNumber; }
    double number() const { return m_baNumber.toDouble(); }
    const QString &text() const { return m_strText; }
    const QVector<JsonValue> &items() const { return m_items; }
    const QVector<Member> &members() const { return m_members; }
    /// The last member of that name; a missing one where there is none, and in what is no object.
    JsonValue operator[](const char *pName) const;

    /// With a generator: blanks and line breaks between the tokens, and escapes for any character.
    QByteArray json(QRandomGenerator *pRandom = nullptr) const;

private:
    Type m_type = Missing;
    bool m_bTrue = false;
    QByteArray m_baNumber;
    QString m_strText;
    QVector<JsonValue> m_items;
    QVector<Member> m_members;
};

Q_DECLARE_METATYPE(JsonValue)

#endif // TESTS_SUPPORT_JSONVALUE_H
