// The rules of a scanned line, against statements of them that share no code with the program's.

#include "window/barcoderules.h"

#include <QByteArray>
#include <QTest>

#include <limits>

namespace {
const char *const CheckCharacters = "0123456789:";
constexpr int CheckCharacterCount = 11;
constexpr int Digits = 10;

/// A line with the given code in front of the carriage return.
QByteArray line(const QByteArray &baCode)
{
    return baCode + '\r';
}

/// What an EAN-8 label prints behind seven digits with this weighted sum.
int standardCheckDigit(int iWeightedSum)
{
    int iCheckDigit = 0;
    while ((iWeightedSum + iCheckDigit) % Digits != 0)
        ++iCheckDigit;
    return iCheckDigit;
}

/// The rule in words: each byte counts from -128 to 127, the odd places three times; what the sum
/// exceeds seven zeros by, cut to its last decimal place and with its sign, is missing to ten.
bool checkByWords(const QByteArray &baCode)
{
    const auto worth = [&](int iPlace) {
        const int iByte = static_cast<unsigned char>(baCode.at(iPlace - 1));
        return iByte < 128 ? iByte : iByte - 256;
    };
    int iExcess = 0;
    for (int iPlace = 1; iPlace <= 7; ++iPlace)
        iExcess += (worth(iPlace) - 48) * (iPlace % 2 == 1 ? 3 : 1);
    int iLastPlace = iExcess < 0 ? -iExcess : iExcess;
    while (iLastPlace >= 10)
        iLastPlace -= 10;
    if (iExcess < 0)
        iLastPlace = -iLastPlace;
    return worth(8) - 48 + iLastPlace == 10;
}
} // namespace

class TestBarcodeRules : public QObject
{
    Q_OBJECT

private slots:
    void endOfLine_data();
    void endOfLine();
    void lines_data();
    void lines();
    void everyCodeOfDigits();
    void everyByteInEveryPlace();
    void extremeSums();
    void serialNumbers_data();
    void serialNumbers();
    void values_data();
    void values();
};

void TestBarcodeRules::endOfLine_data()
{
    QTest::addColumn<QByteArray>("chunk");
    QTest::addColumn<bool>("ends");
    QTest::newRow("nothing") << QByteArray() << false;
    QTest::newRow("carriage return") << QByteArray("\r") << true;
    QTest::newRow("behind text") << QByteArray("1\r") << true;
    QTest::newRow("inside") << QByteArray("1\r2") << false;
    QTest::newRow("line feed") << QByteArray("1\n") << false;
    QTest::newRow("both") << QByteArray("1\r\n") << false;
    QTest::newRow("both, the other way round") << QByteArray("1\n\r") << true;
    QTest::newRow("zero byte behind it") << QByteArray("1\r\0", 3) << false;
    QTest::newRow("highest bit set") << QByteArray("1\x8d") << false;
}

void TestBarcodeRules::endOfLine()
{
    QFETCH(QByteArray, chunk);
    QFETCH(bool, ends);
    QCOMPARE(endsLine(chunk), ends);
}

void TestBarcodeRules::lines_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("right") << line("96385074") << true;
    QTest::newRow("one more") << line("96385075") << false;
    QTest::newRow("one less") << line("96385073") << false;
    QTest::newRow("the standard's 0 is refused") << line("12345670") << false;
    QTest::newRow("a colon instead of 0") << line("1234567:") << true;
    QTest::newRow("zeros ask for a colon") << line("0000000:") << true;
    QTest::newRow("zeros") << line("00000000") << false;
    QTest::newRow("two neighbours exchanged") << line("69385074") << false;
    QTest::newRow("no carriage return") << QByteArray("96385074") << false;
    QTest::newRow("something else at its place") << QByteArray("96385074\n") << false;
    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("only the end") << line("") << false;
    QTest::newRow("too short") << line("9638507") << false;
    QTest::newRow("too long") << line("963850744") << false;
    QTest::newRow("blank in front") << line(" 96385074") << false;
    QTest::newRow("two in one") << line("96385074\r96385074") << false;
    QTest::newRow("line feed of an earlier line") << line("\n96385074") << false;
    // One letter in: 'A' is 17 more than the zero, and 3 * 17 = 51 asks for a nine.
    QTest::newRow("a letter") << line("A0000009") << true;
    // A blank is 16 less than the zero: -48 asks for 18, which is a B.
    QTest::newRow("below the zero") << line(" 000000B") << true;
    QTest::newRow("below the zero, as if there were no sign") << line(" 0000002") << false;
}

void TestBarcodeRules::lines()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, accepted);
    QCOMPARE(isSerialNumberLine(line), accepted);
}

void TestBarcodeRules::everyCodeOfDigits()
{
    // Seven digits counted up like an odometer; the sum is told by the digits, not by the bytes.
    int digits[7] = {};
    QByteArray baLine = line("00000000");
    qint64 iProven = 0;
    int iAccepted = 0;
    for (int iCode = 0; iCode < 10000000; ++iCode) {
        const int iWeightedSum =
            3 * (digits[0] + digits[2] + digits[4] + digits[6]) + digits[1] + digits[3] + digits[5];
        const int iStandard = standardCheckDigit(iWeightedSum);
        const char cExpected = iStandard == 0 ? ':' : char('0' + iStandard);
        for (int i = 0; i < CheckCharacterCount; ++i) {
            baLine.data()[7] = CheckCharacters[i];
            const bool bAccepted = isSerialNumberLine(baLine);
            if (bAccepted != (CheckCharacters[i] == cExpected))
                QFAIL(baLine.constData());
            iAccepted += bAccepted;
            ++iProven;
        }
        for (int i = 6; i >= 0; --i) {
            digits[i] = (digits[i] + 1) % Digits;
            baLine.data()[i] = char('0' + digits[i]);
            if (digits[i] != 0)
                break;
        }
    }
    QCOMPARE(baLine.left(7), QByteArray("0000000")); // all the way round
    QCOMPARE(iProven, 110000000);
    QCOMPARE(iAccepted, 10000000);
}

void TestBarcodeRules::everyByteInEveryPlace()
{
    for (const char *pCode : {"96385074", "0000000:", "99999993"}) {
        for (int iPlace = 0; iPlace < 8; ++iPlace) {
            for (int iByte = 0; iByte < 256; ++iByte) {
                QByteArray baCode(pCode);
                baCode[iPlace] = char(iByte);
                // Every check character, too, so that the right one is among them.
                for (int iCheck = 0; iCheck < 256; ++iCheck) {
                    if (iPlace != 7)
                        baCode[7] = char(iCheck);
                    if (isSerialNumberLine(line(baCode)) != checkByWords(baCode))
                        QFAIL(baCode.toHex().constData());
                }
            }
        }
    }
}

void TestBarcodeRules::extremeSums()
{
    // All from the least byte to the largest: sums of -2640 to 1185, far inside 16 bits.
    for (int iByte = 0; iByte < 256; ++iByte) {
        int iAccepted = 0;
        for (int iCheck = 0; iCheck < 256; ++iCheck) {
            const QByteArray baCode = QByteArray(7, char(iByte)) + char(iCheck);
            QCOMPARE(isSerialNumberLine(line(baCode)), checkByWords(baCode));
            iAccepted += checkByWords(baCode);
        }
        QCOMPARE(iAccepted, 1);
    }
}

void TestBarcodeRules::serialNumbers_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("serialNumber");
    QTest::newRow("digits") << line("96385074") << "9638507";
    QTest::newRow("leading zeros stay") << line("00123457") << "0012345";
    QTest::newRow("colon") << line("1234567:") << "1234567";
    QTest::newRow("letters and blanks") << line(" aB c.-?") << " aB c.-";
    QTest::newRow("ends at a zero byte") << line(QByteArray("123\0"
                                                            "4567",
                                                            8))
                                         << "123";
    QTest::newRow("begins with a zero byte") << line(QByteArray("\0"
                                                                "1234567",
                                                                8))
                                             << "";
    QTest::newRow("zero byte as check character") << line(QByteArray("1234567\0", 8)) << "1234567";
    QTest::newRow("two bytes to a letter") << line("\xc3\xa9"
                                                   "123456")
                                           << QString::fromUtf8("é12345");
    QTest::newRow("half a letter") << line("123456\xc3\xa9") << QString("123456") + QChar(0xFFFD);
    QTest::newRow("no UTF-8") << line("\xff"
                                      "1234567")
                              << QChar(0xFFFD) + QString("123456");
}

void TestBarcodeRules::serialNumbers()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, serialNumber);
    QCOMPARE(scannedSerialNumber(line), serialNumber);
}

void TestBarcodeRules::values_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("value");
    QTest::newRow("digits") << "9638507" << qint64(9638507);
    QTest::newRow("leading zeros") << "0012345" << qint64(12345);
    QTest::newRow("not octal") << "0000010" << qint64(10);
    QTest::newRow("sign") << "-000012" << qint64(-12);
    QTest::newRow("plus") << "+12" << qint64(12);
    QTest::newRow("blanks around") << " 12 " << qint64(12);
    QTest::newRow("blank inside") << "1 2" << qint64(0);
    QTest::newRow("more than 32 bits") << "4294967297" << qint64(4294967297);
    QTest::newRow("largest") << "9223372036854775807" << std::numeric_limits<qint64>::max();
    QTest::newRow("least") << "-9223372036854775808" << std::numeric_limits<qint64>::min();
    QTest::newRow("beyond 64 bits") << "9223372036854775808" << qint64(0);
    QTest::newRow("empty") << "" << qint64(0);
    QTest::newRow("letters") << "abc" << qint64(0);
    QTest::newRow("digits, then a letter") << "12a" << qint64(0);
    QTest::newRow("hexadecimal") << "0x10" << qint64(0);
    QTest::newRow("fraction") << "12.0" << qint64(0);
    QTest::newRow("grouped") << "1,234" << qint64(0);
    QTest::newRow("exponent") << "1e3" << qint64(0);
    QTest::newRow("Arabic digits") << QString::fromUtf8("١٢") << qint64(0);
}

void TestBarcodeRules::values()
{
    QFETCH(QString, text);
    QFETCH(qint64, value);
    QCOMPARE(serialNumberValue(text), value);
}

QTEST_GUILESS_MAIN(TestBarcodeRules)
#include "tst_barcoderules.moc"
