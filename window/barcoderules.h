#ifndef WINDOW_BARCODERULES_H
#define WINDOW_BARCODERULES_H

#include <QtGlobal>

class QByteArray;
class QString;

/// Whether a line ends with these bytes of the reader. Give it only the bytes that came last.
bool endsLine(const QByteArray &baChunk);

/// Whether the line is the code of a serial number: seven characters, their check character, a
/// carriage return.
///
/// For digits the check character is the check digit of an EAN-8 code, but for one case: where that
/// would be 0, it is the colon, the character after the digit nine.
bool isSerialNumberLine(const QByteArray &baLine);

/// The serial number in a line that isSerialNumberLine() accepts.
QString scannedSerialNumber(const QByteArray &baLine);

/// The number by which serial numbers are compared, so that leading zeros do not matter; 0 for a
/// text that is no decimal integer of 64 bits.
qint64 serialNumberValue(const QString &strSerialNumber);

#endif // WINDOW_BARCODERULES_H
