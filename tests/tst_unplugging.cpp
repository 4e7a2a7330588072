// A reader that is unplugged while its port is open: the port is closed and the box unchecked, at
// once and with a handful of reports, however often it happens.

#include "readertest.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QFile>
#include <QMetaEnum>
#include <QPointer>
#include <QSerialPort>
#include <QSignalSpy>
#include <QStandardItemModel>

#include <algorithm>
#include <limits>

#include <termios.h>

namespace {
const char *const Code = "96385074\r";
constexpr int Limit = 10; // signals, or lines of one connection, for one unplugging
constexpr int SilenceMs = 50;
constexpr int Rounds = 100;

/// As SIGNAL() makes it.
QByteArray errorSignal()
{
    return QByteArray("2") + PortErrorSignature;
}

/// The errors that a spy saw, in their order.
QList<int> errors(const QSignalSpy &spy)
{
    QList<int> values;
    for (const QVariantList &arguments : spy)
        values << arguments.first().value<QSerialPort::SerialPortError>();
    return values;
}

QString nameOf(int iError)
{
    return QMetaEnum::fromType<QSerialPort::SerialPortError>().valueToKey(iError);
}

/// All that the system knows of the open port's line.
QByteArray lineSettings(const QSerialPort *pPort)
{
    termios settings = {};
    if (tcgetattr(pPort->handle(), &settings) != 0)
        return {};
    return QByteArray(reinterpret_cast<const char *>(&settings), sizeof(settings));
}

/// Whether the process keeps more descriptors open the longer it runs. The emulation's own threads
/// hold one more for a moment now and then, so the fewest of many rounds count.
class DescriptorWatch
{
public:
    void roundEnds(int iRound)
    {
        int *pFewest = iRound <= Rounds / 2 ? &m_iEarly : &m_iLate;
        if (iRound > 1) // the first one opens what stays
            *pFewest = std::min(*pFewest, openDescriptors());
    }
    int early() const { return m_iEarly; }
    int late() const { return m_iLate; }

private:
    int m_iEarly = std::numeric_limits<int>::max();
    int m_iLate = std::numeric_limits<int>::max();
};
} // namespace

class TestUnplugging : public ReaderTest
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<QSerialPort::SerialPortError>(); } // for the spies

    void idle();
    void insideALine();
    void behindALine();
    void whileAQuestionIsOpen();
    void twiceConnected();
    void onlyTheLineGoes();
    void onlyTheListEntryGoes();
    void pluggedInAgain();
    void againAndAgain();
    void againAndAgainInNewWindows();
    void whileClosed();
    void readErrorOfALiveLine();
    void otherErrorsOfADeadLine();

private:
    void setUp() override;
    bool isBoxChecked() { return box()->isChecked(); }
    /// Waits until the port is closed, and then whether it stays silent.
    void expectClosed(QSignalSpy *pErrors);

    QString m_strReader;
};

void TestUnplugging::setUp()
{
    ReaderTest::setUp();
    m_strReader = openWindowWithReader();
}

void TestUnplugging::expectClosed(QSignalSpy *pErrors)
{
    QTRY_VERIFY(!port()->isOpen());
    const int iErrors = pErrors->size();
    QVERIFY(!pErrors->wait(SilenceMs));
    QCOMPARE(pErrors->size(), iErrors);
    QVERIFY(iErrors < Limit);
    QVERIFY(errors(*pErrors).contains(QSerialPort::ResourceError));
    QVERIFY(!isBoxChecked());
    QVERIFY(!QFile::exists(EmulatedPorts::lockFile(m_strReader)));
}

void TestUnplugging::idle()
{
    QSignalSpy reported(port(), errorSignal());
    ports()->unplug(m_strReader);
    QSignalSpy occurred(port(), SIGNAL(errorOccurred(QSerialPort::SerialPortError)));
    expectClosed(&reported);
    // The resource error comes inside the read error, which is told again behind it.
    // A serial-port library that takes a read of nothing for no error says nothing at all here:
    // then the client has to learn of the unplugging in another way.
    QCOMPARE(errors(occurred), QList<int>({QSerialPort::ResourceError, QSerialPort::ReadError}));
    QCOMPARE(errors(reported), QList<int>({QSerialPort::ResourceError, SecondErrorOfUnplugging}));
    QCOMPARE(infoLog(), QStringList({"onBarCodeError", "ResourceError", "onBarCodeError",
                                     nameOf(SecondErrorOfUnplugging)}));
    QCOMPARE(port()->error(), QSerialPort::ResourceError);
    clickBox(); // nothing there to find
    QVERIFY(!isBoxChecked());
    QVERIFY(!port()->isOpen());
}

void TestUnplugging::insideALine()
{
    send(m_strReader, "96385");
    QSignalSpy reported(port(), errorSignal());
    ports()->unplug(m_strReader);
    expectClosed(&reported);
    QVERIFY(infoLog().size() < Limit);

    // What was read stays read.
    QSignalSpy emitted(window(), SIGNAL(signalGotSN(QString)));
    ports()->plugAgain(m_strReader);
    clickBox();
    send(m_strReader, "074\r");
    QCOMPARE(emitted.size(), 1);
}

void TestUnplugging::behindALine()
{
    fillTable({"9638507"});
    send(m_strReader, Code);
    QSignalSpy reported(port(), errorSignal());
    ports()->unplug(m_strReader);
    expectClosed(&reported);
    QCOMPARE(tickedRows(), QList<int>{0});
}

void TestUnplugging::whileAQuestionIsOpen()
{
    fillTable({"9638507"});
    model()->item(0)->setCheckState(Qt::Checked);
    QSignalSpy reported(port(), errorSignal());
    BoxAnswers answers({QMessageBox::No});
    bool bOpenBehind = true;
    answers.whileOpen([&] {
        ports()->unplug(m_strReader);
        expectClosed(&reported);
        bOpenBehind = port()->isOpen();
    });
    QTest::mouseClick(childOf<QAbstractButton>(window(), "activateButton"), Qt::LeftButton);
    QCOMPARE(answers.seen().size(), 1);
    QVERIFY(!bOpenBehind);
    QVERIFY(infoLog().size() < Limit);
}

void TestUnplugging::twiceConnected()
{
    clickBox();
    clickBox();
    clearInfoLog();
    QSignalSpy reported(port(), errorSignal());
    ports()->hangUp(m_strReader);
    expectClosed(&reported);
    QStringList expected;
    const QList<int> values = errors(reported);
    for (int iError : values) {
        for (int i = 0; i < 2; ++i)
            expected << "onBarCodeError" << nameOf(iError);
    }
    QCOMPARE(infoLog(), expected);
}

void TestUnplugging::onlyTheLineGoes()
{
    QSignalSpy reported(port(), errorSignal());
    ports()->hangUp(m_strReader);
    expectClosed(&reported);
}

void TestUnplugging::onlyTheListEntryGoes()
{
    QSignalSpy reported(port(), errorSignal());
    ports()->unlist(m_strReader);
    QVERIFY(!reported.wait(SilenceMs));
    QVERIFY(port()->isOpen());
    QVERIFY(isBoxChecked());
    QSignalSpy emitted(window(), SIGNAL(signalGotSN(QString)));
    send(m_strReader, Code);
    QCOMPARE(emitted.size(), 1);
}

void TestUnplugging::pluggedInAgain()
{
    QSignalSpy reported(port(), errorSignal());
    ports()->unplug(m_strReader);
    expectClosed(&reported);
    ports()->plugAgain(m_strReader);
    QVERIFY(!isBoxChecked()); // nobody watches the bus
    clickBox();
    QVERIFY(isBoxChecked());
    QVERIFY(port()->isOpen());
    QSignalSpy emitted(window(), SIGNAL(signalGotSN(QString)));
    send(m_strReader, Code);
    QCOMPARE(emitted.size(), 1);
}

void TestUnplugging::againAndAgain()
{
    QSignalSpy emitted(window(), SIGNAL(signalGotSN(QString)));
    DescriptorWatch descriptors;
    for (int iRound = 1; iRound <= Rounds; ++iRound) {
        send(m_strReader, Code);
        QCOMPARE(emitted.size(), iRound);
        if (iRound % 2 == 0)
            send(m_strReader, "\r9638"); // a return, or the half line would stay
        QSignalSpy reported(port(), errorSignal());
        clearInfoLog();
        ports()->unplug(m_strReader);
        QTRY_VERIFY(!port()->isOpen());
        QVERIFY(reported.size() < Limit);
        // Every opening has connected once more, and each connection writes its own lines.
        QVERIFY(infoLog().size() < Limit * iRound);
        QCOMPARE(infoLog().size(), 2 * reported.size() * iRound);
        QVERIFY(!isBoxChecked());

        descriptors.roundEnds(iRound);
        ports()->plugAgain(m_strReader);
        clickBox();
        QVERIFY(port()->isOpen());
        if (iRound % 2 == 0)
            send(m_strReader, "\r");
    }
    QCOMPARE(descriptors.late(), descriptors.early());
}

void TestUnplugging::againAndAgainInNewWindows()
{
    DescriptorWatch descriptors;
    for (int iRound = 1; iRound <= Rounds; ++iRound) {
        QVERIFY(port()->isOpen());
        QSignalSpy reported(port(), errorSignal());
        clearInfoLog();
        ports()->unplug(m_strReader);
        QTRY_VERIFY(!port()->isOpen());
        QVERIFY(reported.size() < Limit);
        QVERIFY(infoLog().size() < Limit);
        QVERIFY(!isBoxChecked());
        closeWindow();
        descriptors.roundEnds(iRound);
        ports()->plugAgain(m_strReader);
        openWindow();
    }
    QCOMPARE(descriptors.late(), descriptors.early());
}

void TestUnplugging::whileClosed()
{
    clickBox();
    clearInfoLog();
    QSignalSpy reported(port(), errorSignal());
    ports()->unplug(m_strReader);
    QVERIFY(!reported.wait(SilenceMs));
    QCOMPARE(infoLog(), QStringList());
}

void TestUnplugging::readErrorOfALiveLine()
{
    const QSerialPort::SerialPortError errorBefore = port()->error();
    const QByteArray baSettings = lineSettings(port());
    QVERIFY(!baSettings.isEmpty());
    QSignalSpy reported(port(), errorSignal());
    report(QSerialPort::ReadError);
    QCOMPARE(errors(reported), QList<int>{QSerialPort::ReadError});
    QCOMPARE(infoLog(), QStringList({"onBarCodeError", "ReadError"}));
    QVERIFY(port()->isOpen());
    QVERIFY(isBoxChecked());
    QCOMPARE(lineSettings(port()), baSettings);
    QCOMPARE(port()->error(), errorBefore);
    // Not on a closed port either, where there is no line to try.
    port()->close();
    report(QSerialPort::ReadError);
    QCOMPARE(errors(reported), QList<int>({QSerialPort::ReadError, QSerialPort::ReadError}));
    QVERIFY(isBoxChecked());
}

void TestUnplugging::otherErrorsOfADeadLine()
{
    QSignalSpy reported(port(), errorSignal());
    ports()->hangUp(m_strReader); // not noticed before the event loop turns
    report(QSerialPort::WriteError);
    QCOMPARE(errors(reported), QList<int>{QSerialPort::WriteError});
    QVERIFY(port()->isOpen());
    report(QSerialPort::ReadError);
    QCOMPARE(errors(reported).size(), 3);
    QVERIFY(!port()->isOpen());
}

VELTRANO_TEST_MAIN(TestUnplugging)
#include "tst_unplugging.moc"
