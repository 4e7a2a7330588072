// The rules of a scanned line: where it ends, its check character, and the number in it.

#include "barcoderules.h"

#include <QByteArray>
#include <QString>

namespace {
constexpr int SerialNumberLength = 7;
constexpr int LineLength = SerialNumberLength + 2; // the check character and the carriage return
constexpr char Zero = '0';
constexpr int WeightedZeros = (4 * 3 + 3) * Zero;
constexpr int Base = 10;

/// Reads the first eight bytes, which must be there.
bool hasRightCheckCharacter(const QByteArray &baCode)
{
    // Signed on every machine; plain char is not.
    const auto *pCode = reinterpret_cast<const qint8 *>(baCode.constData());
    const auto iSum = static_cast<qint16>(3 * (pCode[0] + pCode[2] + pCode[4] + pCode[6]) +
                                          pCode[1] + pCode[3] + pCode[5] - WeightedZeros);
    // A result of 10 stays 10, because the labels are printed so. Whether the characters are digits
    // is not checked; characters below the digit zero can make the sum and the remainder negative.
    return pCode[SerialNumberLength] - Zero == Base - iSum % Base;
}
} // namespace

bool endsLine(const QByteArray &baChunk)
{
    return baChunk.endsWith('\r');
}

bool isSerialNumberLine(const QByteArray &baLine)
{
    return baLine.size() == LineLength && endsLine(baLine) && hasRightCheckCharacter(baLine);
}

QString scannedSerialNumber(const QByteArray &baLine)
{
    // A zero byte ends the serial number; converting the whole array would keep what follows it.
    const auto iLength = static_cast<int>(qstrnlen(baLine.constData(), SerialNumberLength));
    return QString::fromUtf8(baLine.constData(), iLength);
}

qint64 serialNumberValue(const QString &strSerialNumber)
{
    return strSerialNumber.toLongLong();
}
