// The program itself, with a reader that is plugged in, scans and is unplugged.

#include "quiettest.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <algorithm>
#include <csignal>
#include <unistd.h>

namespace {
constexpr int ProcessMs = 30000;
constexpr int SilenceMs = 500;
const char *const FirstLines = "Construct\nstep2\n\"veltrano\"\n";

/// The process's only child, 0 without.
qint64 childOfProcess(qint64 iProcess)
{
    QFile file(QString("/proc/%1/task/%1/children").arg(iProcess));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toLongLong() : 0;
}

/// Clock ticks of user and system time.
qint64 ticksOf(qint64 iProcess)
{
    QFile file(QString("/proc/%1/stat").arg(iProcess));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray baStat = file.readAll();
    const QList<QByteArray> fields = baStat.mid(baStat.lastIndexOf(')') + 2).split(' ');
    return fields.value(11).toLongLong() + fields.value(12).toLongLong();
}

/// The emulated terminals that the process has open: its reader's port.
int portsOf(qint64 iProcess)
{
    const QFileInfoList descriptors =
        QDir(QString("/proc/%1/fd").arg(iProcess)).entryInfoList(QDir::AllEntries | QDir::System);
    return int(std::count_if(descriptors.cbegin(), descriptors.cend(), [](const QFileInfo &file) {
        return file.symLinkTarget().startsWith("/dev/pts/");
    }));
}
} // namespace

class TestReaderProgram : public QuietTest
{
    Q_OBJECT

private slots:
    void scans();
    void unplugging_data();
    void unplugging();
    void endsWithItsInput();
    void commandsAreAnswered();

private:
    void setUp() override;
    void tearDown() override;
    void start(const QString &strProgram, const QStringList &arguments = {});
    /// Gives a command and waits until it is done.
    void command(const QByteArray &baCommand);
    /// The program's log so far, without the remarks of the platform.
    QString log();
    /// Waits until the log ends so.
    void waitForLog(const QString &strEnd);

    QScopedPointer<QTemporaryDir> m_pHome;
    QScopedPointer<QProcess> m_pEmulator;
    QByteArray m_baLog;
};

void TestReaderProgram::setUp()
{
    m_pHome.reset(new QTemporaryDir);
    m_baLog.clear();
}

void TestReaderProgram::tearDown()
{
    if (m_pEmulator) {
        m_pEmulator->closeWriteChannel();
        QTRY_COMPARE_WITH_TIMEOUT(m_pEmulator->state(), QProcess::NotRunning, ProcessMs);
        m_pEmulator.reset();
    }
}

void TestReaderProgram::start(const QString &strProgram, const QStringList &arguments)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", m_pHome->path());
    environment.insert("XDG_CONFIG_HOME", m_pHome->filePath("config"));
    environment.insert("XDG_RUNTIME_DIR", m_pHome->path());
    environment.insert("QT_FORCE_STDERR_LOGGING", "1");
    m_pEmulator.reset(new QProcess);
    m_pEmulator->setProcessEnvironment(environment);
    m_pEmulator->start(EMULATE_READER, QStringList(strProgram) + arguments);
    QVERIFY(m_pEmulator->waitForStarted(ProcessMs));
}

void TestReaderProgram::command(const QByteArray &baCommand)
{
    m_pEmulator->write(baCommand + '\n');
    QByteArray baAnswer;
    while (!baAnswer.endsWith('\n')) {
        if (m_pEmulator->bytesAvailable() == 0)
            QVERIFY(m_pEmulator->waitForReadyRead(ProcessMs));
        baAnswer += m_pEmulator->readAllStandardOutput();
    }
    QCOMPARE(baAnswer, "done " + baCommand + '\n');
}

QString TestReaderProgram::log()
{
    m_baLog += m_pEmulator->readAllStandardError();
    static const QRegularExpression remark("This plugin does not support .*\n");
    return QString(m_baLog).remove(remark);
}

void TestReaderProgram::waitForLog(const QString &strEnd)
{
    QTRY_VERIFY2_WITH_TIMEOUT(log().endsWith(strEnd + '\n'), qPrintable(log()), ProcessMs);
}

void TestReaderProgram::scans()
{
    start(PROGRAM);
    waitForLog(" 1529");
    const QString strStart = log();
    static const QRegularExpression number("ttyT\\d+n1");
    QCOMPARE(QString(strStart).replace(number, "PORT"),
             QString(FirstLines) + "Portx:  \"PORT\" 1529\n");
    command("scan 96385074");
    waitForLog("\"9638507\"");
    command("scan 96385075");
    command("send 1234");
    command("scan 567:");
    waitForLog("\"1234567\"");
    QCOMPARE(log(), strStart + "\"9638507\"\n\"1234567\"\n");
}

void TestReaderProgram::unplugging_data()
{
    QTest::addColumn<QByteArray>("sentBefore");
    QTest::newRow("idle") << QByteArray();
    QTest::newRow("inside a line") << QByteArray("send 9638");
}

void TestReaderProgram::unplugging()
{
    QFETCH(QByteArray, sentBefore);
    start(PROGRAM);
    waitForLog(" 1529");
    const QString strStart = log();
    if (!sentBefore.isEmpty())
        command(sentBefore);
    const qint64 iProcess = childOfProcess(m_pEmulator->processId());
    QVERIFY(iProcess > 0);
    QTRY_COMPARE(portsOf(iProcess), 1); // it is named before it is opened
    command("unplug");
    QTRY_COMPARE(portsOf(iProcess), 0);
    const qint64 iTicks = ticksOf(iProcess);
    // Neither busy nor talking: what there is to say was said.
    QElapsedTimer timer;
    timer.start();
    QTRY_VERIFY(timer.hasExpired(SilenceMs));
    QVERIFY(ticksOf(iProcess) - iTicks < sysconf(_SC_CLK_TCK) / 10);
    const QString strSaid = log().mid(strStart.size());
    QVERIFY2(strSaid.startsWith("onBarCodeError\nResourceError\n"), qPrintable(strSaid));
    QVERIFY2(strSaid.count('\n') < 10, qPrintable(strSaid));
    // It waits for the operator's click.
    command("plug");
    command("scan 96385074");
    QCOMPARE(portsOf(iProcess), 0);
    QCOMPARE(log(), strStart + strSaid);
}

void TestReaderProgram::endsWithItsInput()
{
    start(PROGRAM);
    waitForLog(" 1529");
    const qint64 iProcess = childOfProcess(m_pEmulator->processId());
    m_pEmulator->closeWriteChannel();
    QVERIFY(m_pEmulator->waitForFinished(ProcessMs));
    QVERIFY(!QFile::exists(QString("/proc/%1").arg(iProcess)));
}

void TestReaderProgram::commandsAreAnswered()
{
    start("sh", {"-c", "cat; exit 7"});
    for (const char *pCommand : {"scan 1", "unplug", "plug", "send 2"})
        command(pCommand);
    for (const char *pCommand : {"plug", "jump", ""}) {
        m_pEmulator->write(QByteArray(pCommand) + '\n');
        QVERIFY(m_pEmulator->waitForReadyRead(ProcessMs));
        QCOMPARE(m_pEmulator->readAllStandardOutput(), "unknown " + QByteArray(pCommand) + '\n');
    }
}

QTEST_GUILESS_MAIN(TestReaderProgram)
#include "tst_readerprogram.moc"
