// The reader's bytes, through the real window's port, which is the end of a pseudo-terminal. An
// input is some serial numbers for the table, then the stream in chunks; each piece has its length
// before it.

#include "fuzzedwindow.h"
#include "target.h"

#include <QByteArrayList>
#include <QModelIndex>
#include <QSerialPort>
#include <QStandardItemModel>
#include <QStringList>
#include <QTreeView>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <optional>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace {
constexpr int InputsPerWindow = 2000;
constexpr int MostRows = 7;
constexpr int LongestPiece = 63; // far below what a terminal hands over at once
constexpr int ReadMs = 10000;
const char *const KnownCode = "96385074\r";
const char *const KnownNumber = "9638507";

using Chunks = QByteArrayList;

/// The window with a terminal for a reader.
class ReaderOnATerminal
{
public:
    ReaderOnATerminal();
    ~ReaderOnATerminal();
    ReaderOnATerminal(const ReaderOnATerminal &) = delete;
    ReaderOnATerminal &operator=(const ReaderOnATerminal &) = delete;

    void fill(const QStringList &serialNumbers);
    /// Sends the chunks and gives the serial numbers that were scanned.
    QStringList scan(const Chunks &chunks);
    QList<int> tickedRows() const;
    int currentRow() const { return m_window.view()->currentIndex().row(); }

private:
    void send(const QByteArray &baChunk);

    FuzzedWindow m_window;
    QSerialPort *m_pPort = m_window.window()->findChild<QSerialPort *>();
    int m_iLine = -1; // the reader's end
    QStringList m_scanned;
};

ReaderOnATerminal *g_pReader = nullptr;

ReaderOnATerminal::ReaderOnATerminal()
{
    termios settings{};
    cfmakeraw(&settings);
    settings.c_cflag |= CREAD;
    std::array<char, 128> name{};
    int iTerminal = -1;
    mustHold(openpty(&m_iLine, &iTerminal, name.data(), &settings, nullptr) == 0,
             "there is a pseudo-terminal");
    m_pPort->setPortName(name.data());
    mustHold(m_pPort->open(QIODevice::ReadWrite), "a terminal is a port");
    close(iTerminal);
    // What the window does for a reader that it found.
    mustHold(QObject::connect(m_pPort, SIGNAL(readyRead()), m_window.window(), SLOT(onBarCode())),
                                              "the window listens");
    QObject::connect(m_window.window(), &MainWindow::signalGotSN, m_pPort,
                     [this](const QString &strNumber) { m_scanned << strNumber; });
}

ReaderOnATerminal::~ReaderOnATerminal()
{
    m_pPort->close(); // before the line, whose end it would report
    close(m_iLine);
}

void ReaderOnATerminal::fill(const QStringList &serialNumbers)
{
    m_window.model()->clear();
    for (const QString &strSerialNumber : serialNumbers) {
        auto *pItem = new QStandardItem(strSerialNumber);
        pItem->setCheckable(true);
        m_window.model()->appendRow(pItem);
    }
}

QStringList ReaderOnATerminal::scan(const Chunks &chunks)
{
    m_scanned.clear();
    for (const QByteArray &baChunk : chunks)
        send(baChunk);
    return m_scanned;
}

QList<int> ReaderOnATerminal::tickedRows() const
{
    QList<int> rows;
    for (int iRow = 0; iRow < m_window.model()->rowCount(); ++iRow) {
        if (m_window.model()->item(iRow)->checkState() == Qt::Checked)
            rows << iRow;
    }
    return rows;
}

void ReaderOnATerminal::send(const QByteArray &baChunk)
{
    ssize_t iWritten = -1;
    do { // libFuzzer's alarm may come in between
        iWritten = write(m_iLine, baChunk.constData(), size_t(baChunk.size()));
    } while (iWritten < 0 && errno == EINTR);
    mustHold(iWritten == baChunk.size(), "the line takes a chunk");
    mustHold(m_pPort->waitForReadyRead(ReadMs), "the window hears of a chunk");
    mustHold(m_pPort->bytesAvailable() == 0, "the window reads all of it");
}

// A second reading of the rules

/// For digits the check digit of the printed code, where it is not 0; nothing where no character
/// is the right one.
int checkCharacter(const QByteArray &baCode)
{
    int iSum = 0;
    for (int i = 0; i < 7; ++i)
        iSum += (i % 2 == 0 ? 3 : 1) * (static_cast<signed char>(baCode[i]) - '0');
    const int iRest = (iSum < 0 ? -iSum : iSum) % 10;
    return '0' + 10 - (iSum < 0 ? -iRest : iRest);
}

std::optional<QString> serialNumberOf(const QByteArray &baLine)
{
    if (baLine.size() != 9 || static_cast<signed char>(baLine[7]) != checkCharacter(baLine))
        return std::nullopt;
    QByteArray baNumber = baLine.left(7);
    const int iZero = baNumber.indexOf('\0');
    if (iZero >= 0)
        baNumber.truncate(iZero);
    return QString::fromUtf8(baNumber.constData(), baNumber.size());
}

/// What was sent up to and with each chunk that ended in a carriage return; behind it what is left.
Chunks linesOf(const Chunks &chunks)
{
    Chunks lines{QByteArray()};
    for (const QByteArray &baChunk : chunks) {
        lines.last() += baChunk;
        if (baChunk.endsWith('\r'))
            lines << QByteArray();
    }
    return lines;
}

QStringList expectedNumbers(const Chunks &lines)
{
    QStringList numbers;
    for (int i = 0; i + 1 < lines.size(); ++i) {
        const std::optional<QString> strNumber = serialNumberOf(lines[i]);
        if (strNumber)
            numbers << *strNumber;
    }
    return numbers;
}

/// 0 for what is no whole number of 64 bits. Blanks around it are no fault, nor is a plus sign.
qint64 valueOf(const QString &strNumber)
{
    QByteArray baNumber = strNumber.trimmed().toUtf8();
    if (baNumber.startsWith('+') && !baNumber.startsWith("+-"))
        baNumber.remove(0, 1);
    qint64 iValue = 0;
    const char *pEnd = baNumber.constData() + baNumber.size();
    const auto result = std::from_chars(baNumber.constData(), pEnd, iValue);
    return result.ec == std::errc() && result.ptr == pEnd ? iValue : 0;
}

/// Every byte a chunk of its own, but for a carriage return inside a line, which would end it.
Chunks split(const Chunks &lines)
{
    Chunks chunks;
    for (const QByteArray &baLine : lines) {
        QByteArray baChunk;
        for (int j = 0; j < baLine.size(); ++j) {
            baChunk += baLine[j];
            const bool bEnd = j + 1 == baLine.size();
            if (baChunk.endsWith('\r') && !bEnd)
                continue;
            chunks << baChunk;
            baChunk.clear();
        }
    }
    return chunks;
}

/// As few chunks as a terminal hands over whole; none ends in a carriage return but the lines' own.
Chunks merged(const Chunks &lines)
{
    Chunks chunks;
    for (const QByteArray &baLine : lines) {
        QByteArray baRest = baLine;
        while (!baRest.isEmpty()) {
            int iSize = std::min(static_cast<int>(baRest.size()), LongestPiece);
            while (iSize < baRest.size() && baRest[iSize - 1] == '\r')
                ++iSize;
            chunks << baRest.left(iSize);
            baRest.remove(0, iSize);
        }
    }
    return chunks;
}

/// Takes the next piece off the input.
QByteArray piece(QByteArray &baInput)
{
    if (baInput.isEmpty())
        return {};
    const int iSize = static_cast<unsigned char>(baInput[0]) % (LongestPiece + 1);
    QByteArray baPiece = baInput.mid(1, iSize);
    baInput.remove(0, 1 + iSize);
    return baPiece;
}

QList<int> rowsWith(const QStringList &rows, const QStringList &scanned)
{
    QList<int> found;
    for (int iRow = 0; iRow < rows.size(); ++iRow) {
        for (const QString &strNumber : scanned) {
            if (valueOf(rows[iRow]) == valueOf(strNumber)) {
                found << iRow;
                break;
            }
        }
    }
    return found;
}

void check(ReaderOnATerminal &reader, const QStringList &rows, const Chunks &chunks)
{
    const Chunks lines = linesOf(chunks);
    const QStringList expected = expectedNumbers(lines);
    // A carriage return of its own empties what was kept, whatever that was.
    const Chunks end{"\r"};
    reader.fill(rows);
    mustHold(reader.scan(chunks) == expected, "exactly the right lines are scanned");
    mustHold(reader.tickedRows() == rowsWith(rows, expected), "exactly the right rows are ticked");
    const QList<int> last = rowsWith(rows, expected.mid(expected.size() - 1));
    if (!expected.isEmpty() && !last.isEmpty())
        mustHold(reader.currentRow() == last.last(), "the last row that was found is current");
    const std::optional<QString> strRest = serialNumberOf(lines.last() + '\r');
    mustHold(reader.scan(end) == (strRest ? QStringList(*strRest) : QStringList()),
             "what is no line yet is kept until one ends");
    mustHold(reader.scan({KnownCode}) == QStringList(KnownNumber),
             "behind a line's end all begins anew");

    mustHold(reader.scan(split(lines)) == expected, "single bytes read as the chunks did");
    reader.scan(end);
    mustHold(reader.scan(merged(lines)) == expected, "merged chunks read as the chunks did");
    reader.scan(end);
}
} // namespace

int LLVMFuzzerInitialize(int *pCount, char ***pArguments)
{
    prepareWindows(*pCount, *pArguments);
    return 0;
}

void endTarget()
{
    delete g_pReader;
    endWindows();
}

int LLVMFuzzerTestOneInput(const std::uint8_t *pData, std::size_t iSize)
{
    static int iInputs = 0;
    if (iInputs++ % InputsPerWindow == 0) {
        delete g_pReader;
        g_pReader = new ReaderOnATerminal;
    }
    if (iSize == 0)
        return 0;
    QByteArray baInput(reinterpret_cast<const char *>(pData) + 1, static_cast<int>(iSize) - 1);
    QStringList rows;
    for (int i = 0; i < pData[0] % (MostRows + 1); ++i)
        rows << QString::fromUtf8(piece(baInput));
    Chunks chunks;
    while (!baInput.isEmpty()) {
        const QByteArray baChunk = piece(baInput);
        if (!baChunk.isEmpty())
            chunks << baChunk;
    }
    check(*g_pReader, rows, chunks);
    return 0;
}
