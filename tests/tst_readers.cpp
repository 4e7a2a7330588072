// The barcode reader among the serial ports, and the check box that shows it.

#include "readertest.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QProcess>
#include <QScopeGuard>
#include <QSerialPort>
#include <QSerialPortInfo>
#include <QSysInfo>

#include <fcntl.h>
#include <functional>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

namespace {
constexpr uid_t Nobody = 65534;

// What a click says, by what it did to the box.
const char *const Checked = "look for reader true";
const char *const Unchecked = "look for reader false";

QStringList startTraces()
{
    return {"Construct", "step2", "\"tst_readers\""};
}

QString found(const QString &strPort)
{
    return QString("Portx:  \"%1\" 1529").arg(strPort);
}

QStringList reported(const QString &strError)
{
    return {"onBarCodeError", strError};
}

QStringList listedPorts()
{
    QStringList names;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : ports)
        names << port.portName();
    return names;
}

bool isLocked(const QString &strPort)
{
    return QFile::exists(EmulatedPorts::lockFile(strPort));
}

/// Makes a port impossible to open; gives back what makes it possible again.
using Undo = std::function<void()>;
using Obstacle = std::function<Undo(EmulatedPorts *pPorts, const QString &strPort)>;

Undo lockedByAnother(EmulatedPorts *, const QString &strPort)
{
    const auto pLock = QSharedPointer<QLockFile>::create(EmulatedPorts::lockFile(strPort));
    if (!pLock->tryLock())
        qFatal("no lock");
    return [=] {
        pLock->unlock();
    };
}

/// The superuser may do everything, so the window is opened by nobody. What the emulation itself
/// needs stays open to everyone.
void becomeNobody(const EmulatedPorts *pPorts)
{
    for (const char *pPath : {"", "/ioctl/_default"}) {
        if (chmod(QFile::encodeName(pPorts->folder() + pPath).constData(), 0777) != 0)
            qFatal("no permission to give permission");
    }
    if (geteuid() == 0 && seteuid(Nobody) != 0)
        qFatal("cannot become nobody");
}

void becomeOneself()
{
    if (seteuid(getuid()) != 0)
        qFatal("cannot become oneself again");
}

Undo withoutPermission(EmulatedPorts *pPorts, const QString &strPort)
{
    const QByteArray baTerminal = QFile::encodeName(pPorts->terminal(strPort));
    if (chmod(baTerminal.constData(), 0) != 0)
        qFatal("no permission to take permission away");
    becomeNobody(pPorts);
    return [=] {
        becomeOneself();
        if (chmod(baTerminal.constData(), 0600) != 0)
            qFatal("no permission to give permission");
    };
}

/// Another program has the terminal to itself. The call goes past the emulation, which takes every
/// terminal for one of its own and does not know it.
Undo exclusivelyOpen(EmulatedPorts *pPorts, const QString &strPort)
{
    const QByteArray baTerminal = QFile::encodeName(pPorts->terminal(strPort));
    const int iTerminal = ::open(baTerminal.constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (iTerminal < 0 || syscall(SYS_ioctl, iTerminal, TIOCEXCL) != 0 ||
        chmod(baTerminal.constData(), 0666) != 0)
        qFatal("no terminal of one's own");
    becomeNobody(pPorts);
    return [=] {
        becomeOneself();
        syscall(SYS_ioctl, iTerminal, TIOCNXCL);
        ::close(iTerminal);
    };
}

QString deviceFile(EmulatedPorts *pPorts, const QString &strPort)
{
    return pPorts->folder() + "/dev/" + strPort;
}

Undo withoutDeviceFile(EmulatedPorts *pPorts, const QString &strPort)
{
    const QString strFile = deviceFile(pPorts, strPort);
    const QString strTerminal = pPorts->terminal(strPort);
    QFile::remove(strFile);
    return [=] {
        QFile::link(strTerminal, strFile);
    };
}

Undo noTerminalAtAll(EmulatedPorts *pPorts, const QString &strPort)
{
    const QString strFile = deviceFile(pPorts, strPort);
    const QString strTerminal = pPorts->terminal(strPort);
    QFile::remove(strFile);
    QDir().mkdir(strFile);
    return [=] {
        QDir().rmdir(strFile);
        QFile::link(strTerminal, strFile);
    };
}
} // namespace

Q_DECLARE_METATYPE(Obstacle)

class TestReaders : public ReaderTest
{
    Q_OBJECT

private slots:
    void foundAtStart();
    void lineSettings();
    void noReader_data();
    void noReader();
    void noDeviceTree();
    void firstListedWins_data();
    void firstListedWins();
    void otherModels();
    void clicks();
    void spaceBarIsAClick();
    void onlyClicksCount();
    void repeatedConnections();
    void pluggedInLater();
    void foreignDevicePluggedInLater();
    void goneWhileClosed();
    void anotherReaderAfterTheFirst();
    void openRefused_data();
    void openRefused();
    void refusedAtFirstThenOpened_data() { openRefused_data(); }
    void refusedAtFirstThenOpened();
    void lockOfADeadProcess();
    void closingTheWindowFreesThePort();

private:
    bool isBoxChecked() { return box()->isChecked(); }
    void click() { clickBox(); }
    /// The lines since the last call, without the emulated terminals' own ones: they do not know a
    /// call that a port makes when it is opened.
    QStringList log();
};

QStringList TestReaders::log()
{
    QStringList lines = infoLog();
    clearInfoLog();
    for (int i = lines.size() - 1; i > 0; --i) {
        if (lines.at(i) == "UnsupportedOperationError" && lines.at(i - 1) == "onBarCodeError") {
            lines.removeAt(i);
            lines.removeAt(i - 1);
            --i;
        }
    }
    return lines;
}

void TestReaders::foundAtStart()
{
    const QString strPort = ports()->plug();
    openWindow();
    QCOMPARE(log(), startTraces() + QStringList(found(strPort)));
    QVERIFY(isBoxChecked());
    QVERIFY(port()->isOpen());
    QCOMPARE(port()->portName(), strPort);
    QVERIFY(isLocked(strPort));
}

void TestReaders::lineSettings()
{
    ports()->plug();
    openWindow();
    QCOMPARE(port()->openMode(), QIODevice::ReadWrite);
    QCOMPARE(port()->baudRate(), 9600);
    QCOMPARE(port()->dataBits(), QSerialPort::Data8);
    QCOMPARE(port()->parity(), QSerialPort::NoParity);
    QCOMPARE(port()->stopBits(), QSerialPort::OneStop);
    QCOMPARE(port()->flowControl(), QSerialPort::NoFlowControl);
    QCOMPARE(port()->readBufferSize(), qint64(0));
}

void TestReaders::noReader_data()
{
    QTest::addColumn<QByteArray>("ids");
    QTest::newRow("nothing plugged in") << QByteArray();
    QTest::newRow("no ids") << QByteArray("none");
    QTest::newRow("another vendor") << QByteArray("067b:2303");
    QTest::newRow("the vendor's number as product") << QByteArray("067b:05f9");
    QTest::newRow("one less") << QByteArray("05f8:2206");
    QTest::newRow("one more") << QByteArray("05fa:2206");
    QTest::newRow("bytes exchanged") << QByteArray("f905:2206");
    QTest::newRow("decimal digits read as hexadecimal") << QByteArray("1529:2206");
    QTest::newRow("vendor 0") << QByteArray("0000:2206");
    QTest::newRow("no number") << QByteArray("05g9:2206");
}

void TestReaders::noReader()
{
    QFETCH(QByteArray, ids);
    if (!ids.isEmpty())
        ports()->plug(ids);
    openWindow();
    QCOMPARE(log(), startTraces());
    for (int i = 0; i < 2; ++i) {
        QVERIFY(!isBoxChecked());
        QVERIFY(!port()->isOpen());
        QCOMPARE(port()->portName(), QString());
        click();
        QCOMPARE(log(), QStringList(Checked));
    }
    QCOMPARE(takeConnections("readyRead()", "onBarCode()"), 0);
    QVERIFY(window()->isEnabled());
}

void TestReaders::noDeviceTree()
{
    QVERIFY(QDir(ports()->folder() + "/sys").removeRecursively());
    // The framework then lists the device files that look like serial ports, if there are some
    // here.
    const QList<QSerialPortInfo> listed = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : listed)
        QVERIFY(!port.hasVendorIdentifier());
    openWindow();
    click();
    QCOMPARE(log(), startTraces() + QStringList(Checked));
    QVERIFY(!isBoxChecked());
}

void TestReaders::firstListedWins_data()
{
    QTest::addColumn<QByteArrayList>("devices"); // in the order of plugging in
    QTest::addColumn<QList<int>>("buses");
    QTest::addColumn<int>("winner");
    const QByteArray reader("05f9:2206");
    const QByteArray other("067b:2303");
    using Ids = QByteArrayList;
    using Buses = QList<int>;
    QTest::newRow("two readers") << Ids{reader, reader} << Buses{1, 1} << 0;
    QTest::newRow("the later one is listed first") << Ids{reader, reader} << Buses{2, 1} << 1;
    QTest::newRow("behind another device") << Ids{other, reader} << Buses{1, 1} << 1;
    QTest::newRow("behind one without ids") << Ids{"none", reader} << Buses{1, 1} << 1;
    QTest::newRow("before another device") << Ids{reader, other} << Buses{1, 1} << 0;
    QTest::newRow("between") << Ids{other, reader, reader, other} << Buses{1, 1, 1, 1} << 1;
}

void TestReaders::firstListedWins()
{
    QFETCH(QByteArrayList, devices);
    QFETCH(QList<int>, buses);
    QFETCH(int, winner);
    QStringList names;
    for (int i = 0; i < devices.size(); ++i)
        names << ports()->plug(devices.at(i), buses.at(i));
    QCOMPARE(listedPorts().size(), names.size());
    openWindow();
    QCOMPARE(log(), startTraces() + QStringList(found(names.at(winner))));
    QCOMPARE(port()->portName(), names.at(winner));
    for (int i = 0; i < names.size(); ++i)
        QCOMPARE(isLocked(names.at(i)), i == winner);
}

void TestReaders::otherModels()
{
    const QString strPort = ports()->plug("05F9:0001"); // the tree's writer may like capitals
    openWindow();
    QCOMPARE(port()->portName(), strPort);
    QVERIFY(isBoxChecked());
}

void TestReaders::clicks()
{
    const QString strPort = ports()->plug();
    openWindow();
    QSerialPort *const pPort = port();
    log();
    for (int i = 0; i < 3; ++i) {
        click();
        QCOMPARE(log(), QStringList(Unchecked));
        QVERIFY(!isBoxChecked());
        QVERIFY(!port()->isOpen());
        QVERIFY(!isLocked(strPort));

        click();
        // Opening makes the port report that there is no error, to each of the connections so far.
        QStringList expected{Checked, found(strPort)};
        for (int j = 0; j <= i; ++j)
            expected += reported("NoError");
        QCOMPARE(log(), expected);
        QVERIFY(isBoxChecked());
        QVERIFY(port()->isOpen());
        QVERIFY(isLocked(strPort));
        QCOMPARE(port(), pPort); // one object for all
    }
}

void TestReaders::spaceBarIsAClick()
{
    ports()->plug();
    openWindow();
    QTest::keyClick(box(), Qt::Key_Space);
    QVERIFY(!isBoxChecked());
    QVERIFY(!port()->isOpen());
    QTest::keyClick(box(), Qt::Key_Space);
    QVERIFY(isBoxChecked());
    QVERIFY(port()->isOpen());
}

void TestReaders::onlyClicksCount()
{
    ports()->plug();
    openWindow();
    log();
    box()->setChecked(false);
    QVERIFY(port()->isOpen());
    QCOMPARE(log(), QStringList());
    // The box shows something else than the port; a click goes by the port.
    click();
    QCOMPARE(log(), QStringList(Checked));
    QVERIFY(!isBoxChecked());
    QVERIFY(!port()->isOpen());
}

void TestReaders::repeatedConnections()
{
    ports()->plug();
    openWindow();
    for (int i = 0; i < 4; ++i)
        click();
    QVERIFY(port()->isOpen());
    QCOMPARE(takeConnections("readyRead()", "onBarCode()"), 3);
    QCOMPARE(takeConnections(PortErrorSignature, "onBarCodeError(QSerialPort::SerialPortError)"),
             3);
}

void TestReaders::pluggedInLater()
{
    openWindow();
    QCOMPARE(log(), startTraces());
    const QString strPort = ports()->plug();
    QVERIFY(!isBoxChecked()); // nobody watches the bus
    click();
    QCOMPARE(log(), QStringList({Checked, found(strPort)}));
    QVERIFY(isBoxChecked());
    QVERIFY(port()->isOpen());
    QCOMPARE(takeConnections("readyRead()", "onBarCode()"), 1);
}

void TestReaders::foreignDevicePluggedInLater()
{
    openWindow();
    ports()->plug("067b:2303");
    click();
    QCOMPARE(log(), startTraces() + QStringList(Checked));
    QVERIFY(!isBoxChecked());
}

void TestReaders::goneWhileClosed()
{
    const QString strPort = ports()->plug();
    openWindow();
    click();
    ports()->unplug(strPort);
    log();
    click();
    QCOMPARE(log(), QStringList(Checked));
    QVERIFY(!isBoxChecked());
    QVERIFY(!port()->isOpen());
    QCOMPARE(port()->portName(), strPort); // as it was
}

void TestReaders::anotherReaderAfterTheFirst()
{
    const QString strFirst = ports()->plug();
    openWindow();
    QSerialPort *const pPort = port();
    const QString strSecond = ports()->plug();
    click();
    ports()->unplug(strFirst);
    click();
    QCOMPARE(port(), pPort);
    QCOMPARE(port()->portName(), strSecond);
    QVERIFY(port()->isOpen());
    QVERIFY(isBoxChecked());
    QVERIFY(!isLocked(strFirst));
    QVERIFY(isLocked(strSecond));
}

void TestReaders::openRefused_data()
{
    QTest::addColumn<Obstacle>("obstacle");
    QTest::addColumn<QString>("error");
    QTest::newRow("locked") << Obstacle(lockedByAnother) << "PermissionError";
    QTest::newRow("no permission") << Obstacle(withoutPermission) << "PermissionError";
    QTest::newRow("busy") << Obstacle(exclusivelyOpen) << "PermissionError";
    QTest::newRow("no device file") << Obstacle(withoutDeviceFile) << "DeviceNotFoundError";
    QTest::newRow("no terminal") << Obstacle(noTerminalAtAll) << "UnknownError";
}

void TestReaders::openRefused()
{
    QFETCH(Obstacle, obstacle);
    QFETCH(QString, error);
    const QString strPort = ports()->plug();
    const Undo undo = obstacle(ports(), strPort);
    const auto guard = qScopeGuard(undo);
    openWindow();
    // The first refusal reaches nobody, and the box is checked all the same.
    QCOMPARE(log(), startTraces() + QStringList(found(strPort)));
    QVERIFY(isBoxChecked());
    QVERIFY(!port()->isOpen());
    QCOMPARE(port()->portName(), strPort);

    click();
    QCOMPARE(log(),
             QStringList({Unchecked, found(strPort)}) + reported("NoError") + reported(error));
    QVERIFY(isBoxChecked());
    QVERIFY(!port()->isOpen());
    QCOMPARE(takeConnections("readyRead()", "onBarCode()"), 2);
}

void TestReaders::refusedAtFirstThenOpened()
{
    QFETCH(Obstacle, obstacle);
    const QString strPort = ports()->plug();
    {
        const auto guard = qScopeGuard(obstacle(ports(), strPort));
        openWindow();
        QVERIFY(!port()->isOpen());
    }
    click();
    QVERIFY(port()->isOpen());
    QVERIFY(isBoxChecked());
    click();
    QVERIFY(!port()->isOpen());
    QVERIFY(!isBoxChecked());
}

void TestReaders::lockOfADeadProcess()
{
    QProcess process;
    process.start("true", QStringList());
    QVERIFY(process.waitForStarted());
    const QByteArray baDead = QByteArray::number(process.processId());
    QVERIFY(process.waitForFinished());

    const QString strPort = ports()->plug();
    QFile lock(EmulatedPorts::lockFile(strPort));
    QVERIFY(lock.open(QIODevice::WriteOnly));
    lock.write(baDead + "\nveltrano\n" + QSysInfo::machineHostName().toUtf8() + '\n');
    lock.close();
    openWindow();
    QVERIFY(port()->isOpen());
}

void TestReaders::closingTheWindowFreesThePort()
{
    const QString strPort = ports()->plug();
    for (int i = 0; i < 2; ++i) {
        openWindow();
        QVERIFY(port()->isOpen());
        QVERIFY(isLocked(strPort));
        closeWindow();
        QVERIFY(!isLocked(strPort));
    }
}

VELTRANO_TEST_MAIN(TestReaders)
#include "tst_readers.moc"
