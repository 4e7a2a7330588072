// Changes a reply's JSON as JSON. libFuzzer alone changes bytes, and what comes out of that is
// mostly no JSON at all: the framework's reader is not built so that libFuzzer sees inside.

#include "target.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <limits>
#include <random>

// The names are libFuzzer's.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *pData, std::size_t iSize,
                                        std::size_t iMaxSize);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *pData, std::size_t iSize,
                                               std::size_t iMaxSize, unsigned uSeed);

namespace {
constexpr int LongestText = 200;

class Mutator
{
public:
    explicit Mutator(unsigned uSeed) : m_random(uSeed) {}

    bool oneOf(int iChances) { return below(iChances) == 0; }
    QJsonValue mutated(const QJsonValue &value);

private:
    int below(int iEnd) { return static_cast<int>(m_random() % static_cast<unsigned>(iEnd)); }
    QString name();
    QJsonValue scalar();
    QString text(const QString &strText);
    QJsonObject object(QJsonObject members);
    QJsonArray array(QJsonArray elements);

    std::minstd_rand m_random;
};

QString Mutator::name()
{
    static const QStringList names{
        "id",          "msg",  "name",        "rcode",     "groups",  "balance",  "group_name",
        "trackers",    "v",    "deviceSn",    "deviceSN",  "SN",      "compe_id", "state",
        "TrackerName", "imsi", "activations", "startTime", "endTime", "done",     "p"};
    return names[below(names.size())];
}

QJsonValue Mutator::scalar()
{
    constexpr double Beyond32Bits = std::numeric_limits<int>::max() + 1.0;
    const QJsonArray values{QJsonValue(),
                            true,
                            -99,
                            0,
                            1,
                            -99.5,
                            Beyond32Bits,
                            -Beyond32Bits - 1,
                            1e300,
                            "",
                            "A",
                            "E",
                            "0",
                            "1",
                            "-1",
                            "2147483647",
                            "2147483648",
                            " 7 ",
                            QJsonObject(),
                            QJsonArray()};
    return values[below(values.size())];
}

QString Mutator::text(const QString &strText)
{
    QByteArray baText = strText.toUtf8().left(LongestText);
    const int iSize = baText.size();
    baText.resize(LongestText);
    auto *pText = reinterpret_cast<std::uint8_t *>(baText.data());
    const std::size_t iMutated =
        LLVMFuzzerMutate(pText, static_cast<std::size_t>(iSize), LongestText);
    return QString::fromUtf8(baText.constData(), static_cast<int>(iMutated));
}

QJsonObject Mutator::object(QJsonObject members)
{
    const QStringList names = members.keys();
    if (names.isEmpty() || oneOf(4)) {
        members.insert(name(), scalar());
        return members;
    }
    const QString &strName = names[below(names.size())];
    const QJsonValue value = members.take(strName);
    if (oneOf(8))
        return members;
    members.insert(oneOf(8) ? name() : strName, mutated(value));
    return members;
}

QJsonArray Mutator::array(QJsonArray elements)
{
    if (elements.isEmpty() || oneOf(8)) {
        elements.append(oneOf(2) ? scalar() : QJsonObject{{name(), scalar()}});
        return elements;
    }
    const int i = below(elements.size());
    if (oneOf(6))
        elements.removeAt(i);
    else if (oneOf(4))
        elements.insert(below(elements.size() + 1), QJsonValue(elements[i]));
    else
        elements[i] = mutated(elements[i]);
    return elements;
}

QJsonValue Mutator::mutated(const QJsonValue &value)
{
    if (oneOf(10))
        return scalar();
    if (value.isObject())
        return object(value.toObject());
    if (value.isArray())
        return array(value.toArray());
    if (value.isString() && !oneOf(3))
        return text(value.toString());
    return scalar();
}
} // namespace

std::size_t LLVMFuzzerCustomMutator(std::uint8_t *pData, std::size_t iSize, std::size_t iMaxSize,
                                    unsigned uSeed)
{
    Mutator mutator(uSeed);
    const QByteArray baBody(reinterpret_cast<const char *>(pData) + 1,
                            std::max(static_cast<int>(iSize) - 1, 0));
    const QJsonDocument document = QJsonDocument::fromJson(baBody);
    // Bytes all the same now and then, and with them the first, which says what the body is for.
    if (!document.isObject() || mutator.oneOf(4))
        return LLVMFuzzerMutate(pData, iSize, iMaxSize);
    const QJsonValue value = mutator.mutated(document.object());
    const QByteArray baMutated =
        QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact).left(int(iMaxSize) - 1);
    std::copy(baMutated.begin(), baMutated.end(), pData + 1);
    return static_cast<std::size_t>(baMutated.size()) + 1;
}
