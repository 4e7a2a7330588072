#ifndef WINDOW_BARCODERULES_H
#define WINDOW_BARCODERULES_H

#include <QtGlobal>

class QByteArray;
class QString;

/// Whether these bytes of the reader are the last ones of a line. Ask it of what came last, not of
/// all that came.
bool endsLine(const QByteArray &baChunk);

/// Whether the line is a serial number's code: seven characters, the check character that they ask
/// for, a carriage return.
bool isSerialNumberLine(const QByteArray &baLine);

/// Whether the eighth character is the one that the seven before it ask for; more are not looked
/// at.
///
/// For digits it is the check digit that an EAN-8 code prints, but for one case: where that would
/// be 0, it is the colon, the character after the digit nine.
bool hasRightCheckCharacter(const QByteArray &baCode);

/// The serial number in an accepted line.
QString scannedSerialNumber(const QByteArray &baLine);

/// The number by which serial numbers are compared, so that leading zeros do not matter; 0 for a
/// text that is no decimal integer of 64 bits.
qint64 serialNumberValue(const QString &strSerialNumber);

#endif // WINDOW_BARCODERULES_H
