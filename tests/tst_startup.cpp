// From main() to the exit code: once inside this process, where a test can look and close the
// window, and once with the program itself.

#include "qtversions.h"
#include "quiettest.h"
#include "scriptedserver.h"

#include "window/mainwindow.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QStandardPaths>
#include <QStyle>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeView>

#include <csignal>
#include <functional>

#ifdef Q_OS_LINUX
#include <sys/inotify.h>
#include <unistd.h>
#endif

/// The program's main() under another name; see the build of this test.
int programMain(int argc, char *argv[]);

namespace {
constexpr int ProcessMs = 30000;

/// Run in the program's event loop as soon as it turns.
std::function<void(MainWindow *)> g_inLoop;

/// Where icon themes are looked for; this platform looks nowhere by itself.
QString &themeFolder()
{
    static QString strFolder;
    return strFolder;
}

MainWindow *programWindow()
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget *pWidget : widgets) {
        if (auto *pWindow = qobject_cast<MainWindow *>(pWidget))
            return pWindow;
    }
    return nullptr;
}

/// Called while main() makes its application object, before it does anything else.
void armInLoop()
{
    if (!g_inLoop)
        return;
    QIcon::setThemeSearchPaths({themeFolder()});
    QIcon::setThemeName("hicolor");
    QTimer::singleShot(0, qApp, [] {
        keepScreenReachable();
        g_inLoop(programWindow());
    });
}
Q_COREAPP_STARTUP_FUNCTION(armInLoop)

/// Runs the program in this process; the action must end it, as closing the window does.
int runProgram(const std::function<void(MainWindow *)> &action, QByteArrayList arguments = {})
{
    arguments.prepend("/somewhere/veltrano-under-test");
    QVector<char *> argv;
    for (QByteArray &baArgument : arguments)
        argv << baArgument.data();
    g_inLoop = action;
    const int iResult = programMain(argv.size(), argv.data());
    g_inLoop = nullptr;
    return iResult;
}

void closeWindow(MainWindow *pWindow)
{
    pWindow->close();
}

/// Where the program keeps its settings below a configuration folder.
QString settingsFile(const QString &strConfig, const QString &strProgram)
{
    return strConfig + "/Quillmora/" + strProgram + ".conf";
}

QString ownSettingsFile()
{
    return settingsFile(qEnvironmentVariable("XDG_CONFIG_HOME"), "veltrano-under-test");
}

void storeLastUser(const QString &strFile, const QString &strUser)
{
    QSettings file(strFile, QSettings::IniFormat);
    file.setValue("lastuser", strUser);
}

QString storedLastUser(const QString &strFile)
{
    return QSettings(strFile, QSettings::IniFormat).value("lastuser").toString();
}

QByteArray programBytes()
{
    QFile file(PROGRAM);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The program as a process, with a home of its own; gone at the latest when this is.
class Program
{
public:
    Program()
    {
        QProcessEnvironment environment;
        environment.insert("PATH", qEnvironmentVariable("PATH"));
        environment.insert("HOME", m_home.path());
        environment.insert("XDG_CONFIG_HOME", config());
        environment.insert("XDG_RUNTIME_DIR", m_home.path());
        environment.insert("LANG", "C.UTF-8");
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        // Also where the framework was built to log to the system's journal.
        environment.insert("QT_FORCE_STDERR_LOGGING", "1");
        environment.insert("LSAN_OPTIONS", qEnvironmentVariable("LSAN_OPTIONS"));
        m_process.setProcessEnvironment(environment);
        m_process.setWorkingDirectory(m_home.path());
        m_process.setReadChannel(QProcess::StandardError);
    }
    ~Program()
    {
        m_process.kill();
        m_process.waitForFinished(ProcessMs);
    }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    QString config() const { return m_home.filePath("config"); }
    QProcess &process() { return m_process; }

    /// Starts it and waits until its window is made, which the last of its three lines says.
    bool start(const QStringList &arguments = {})
    {
        m_process.start(PROGRAM, arguments);
        while (log().size() < 3 && m_process.waitForReadyRead(ProcessMs))
            m_baErrors += m_process.readAllStandardError();
        return log().size() >= 3;
    }

    QStringList log() const
    {
        QStringList lines = QString::fromUtf8(m_baErrors).split('\n');
        lines.removeAll(QString());
        for (int i = lines.size() - 1; i >= 0; --i) {
            if (lines.at(i).startsWith("This plugin does not support"))
                lines.removeAt(i);
        }
        return lines;
    }

private:
    QTemporaryDir m_home;
    QProcess m_process;
    QByteArray m_baErrors;
};

#ifdef Q_OS_LINUX
/// Tells whether a file was opened since the watch began; it tells once.
class OpenWatch
{
public:
    explicit OpenWatch(const QString &strFile) : m_iQueue(inotify_init1(IN_NONBLOCK))
    {
        if (inotify_add_watch(m_iQueue, QFile::encodeName(strFile).constData(), IN_OPEN) < 0)
            qFatal("cannot watch %s", qPrintable(strFile));
    }
    ~OpenWatch() { close(m_iQueue); }
    OpenWatch(const OpenWatch &) = delete;
    OpenWatch &operator=(const OpenWatch &) = delete;

    bool wasOpened() const
    {
        inotify_event event;
        return read(m_iQueue, &event, sizeof(event)) == sizeof(event);
    }

private:
    int m_iQueue;
};
#endif
} // namespace

class TestStartup : public QuietTest
{
    Q_OBJECT

private slots:
    void identity();
    void iconOfTheTheme();
    void noIconInTheTheme();
    void oneWindowShownPlainly();
    void traces();
    void closingEndsWithZero();
    void loopValueIsTheExitCode_data();
    void loopValueIsTheExitCode();
    void windowGoesBeforeTheApplication();
    void denseScreens();
    void keyboardAndNamesAreThere();
    void firstRun();
    void lastUserIsShown();
    void lastUserOfALoginIsThereAfterARestart();
    void failedLoginStoresNothing();
    void closingStoresNothing();
    void argumentsAreNotRead();

    void processLogs();
    void processRunsUntilToldToEnd();
    void processReadsItsSettings();
    void processTakesNoArguments_data();
    void processTakesNoArguments();
    void programIsBuiltForItsService();

private:
    void setUp() override;
};

void TestStartup::setUp()
{
    QDir(qEnvironmentVariable("XDG_CONFIG_HOME")).removeRecursively();
}

void TestStartup::identity()
{
    QString strOrganization, strDomain, strName, strVersion, strSettings, strDesktopFile;
    bool bOwnStyle = true;
    runProgram([&](MainWindow *pWindow) {
        strOrganization = QCoreApplication::organizationName();
        strDomain = QCoreApplication::organizationDomain();
        strName = QCoreApplication::applicationName();
        strVersion = QCoreApplication::applicationVersion();
        strDesktopFile = QGuiApplication::desktopFileName();
        strSettings = pWindow->findChild<QSettings *>()->fileName();
        bOwnStyle = !qApp->styleSheet().isEmpty();
        closeWindow(pWindow);
    });
    QCOMPARE(strOrganization, QString("Quillmora"));
    QCOMPARE(strDomain, QString("quillmora.example"));
    QCOMPARE(strName, QString("veltrano-under-test")); // the file's
    QCOMPARE(strVersion, QString());
    QCOMPARE(strDesktopFile, QString("example.quillmora.veltrano"));
    QCOMPARE(strSettings, ownSettingsFile());
    QVERIFY(!bOwnStyle);
}

void TestStartup::iconOfTheTheme()
{
    const QTemporaryDir data;
    const QDir icons(data.filePath("icons/hicolor/48x48/apps"));
    QVERIFY(icons.mkpath("."));
    QFile theme(data.filePath("icons/hicolor/index.theme"));
    QVERIFY(theme.open(QIODevice::WriteOnly));
    theme.write("[Icon Theme]\nName=hicolor\nDirectories=48x48/apps\n\n[48x48/apps]\nSize=48\n");
    theme.close();
    QImage image(48, 48, QImage::Format_RGB32);
    image.fill(Qt::magenta);
    QVERIFY(image.save(icons.filePath("example.quillmora.veltrano.png")));

    themeFolder() = data.filePath("icons");
    QRgb rgb = 0;
    runProgram([&](MainWindow *pWindow) {
        rgb = pWindow->windowIcon().pixmap(48).toImage().pixel(24, 24);
        closeWindow(pWindow);
    });
    themeFolder().clear();
    QCOMPARE(QColor(rgb), QColor(Qt::magenta));
}

void TestStartup::noIconInTheTheme()
{
    bool bIcon = true;
    runProgram([&](MainWindow *pWindow) {
        bIcon = !pWindow->windowIcon().pixmap(48).isNull();
        closeWindow(pWindow);
    });
    QVERIFY(!bIcon);
}

void TestStartup::oneWindowShownPlainly()
{
    int iWindows = 0;
    bool bVisible = false;
    Qt::WindowStates state = Qt::WindowMinimized;
    QSize size;
    QWidget *pParent = nullptr;
    runProgram([&](MainWindow *pWindow) {
        const QWidgetList widgets = QApplication::topLevelWidgets();
        for (const QWidget *pWidget : widgets)
            iWindows += qobject_cast<const QMainWindow *>(pWidget) ? 1 : 0;
        bVisible = pWindow->isVisible();
        state = pWindow->windowState();
        size = pWindow->size();
        pParent = pWindow->parentWidget();
        closeWindow(pWindow);
    });
    QCOMPARE(iWindows, 1);
    QVERIFY(bVisible);
    QCOMPARE(state, Qt::WindowNoState);
    QCOMPARE(size, QSize(863, 727));
    QVERIFY(!pParent);
}

void TestStartup::traces()
{
    runProgram(closeWindow);
    QCOMPARE(infoLog(), QStringList({"Construct", "step2", "\"veltrano-under-test\""}));
}

void TestStartup::closingEndsWithZero()
{
    QCOMPARE(runProgram(closeWindow), 0);
}

void TestStartup::loopValueIsTheExitCode_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("0") << 0;
    QTest::newRow("1") << 1;
    QTest::newRow("another") << 77;
}

void TestStartup::loopValueIsTheExitCode()
{
    QFETCH(int, code);
    QCOMPARE(runProgram([&](MainWindow *) { QCoreApplication::exit(code); }), code);
}

void TestStartup::windowGoesBeforeTheApplication()
{
    QStringList order;
    runProgram([&](MainWindow *pWindow) {
        QStringList *pOrder = &order;
        connect(pWindow, &QObject::destroyed, qApp, [pOrder] { *pOrder << "window"; });
        connect(qApp, &QObject::destroyed, qApp, [pOrder] { *pOrder << "application"; });
        closeWindow(pWindow);
        *pOrder << "closed"; // hidden as yet, and still there
    });
    QCOMPARE(order, QStringList({"closed", "window", "application"}));
    QVERIFY(!QCoreApplication::instance());
}

void TestStartup::denseScreens()
{
    runProgram(closeWindow);
    QVERIFY(screensMayBeDense());
    // The framework's own; to pass fractions through would scale ordinary screens, too.
    QCOMPARE(QGuiApplication::highDpiScaleFactorRoundingPolicy(),
             Qt::HighDpiScaleFactorRoundingPolicy::Round);
}

void TestStartup::keyboardAndNamesAreThere()
{
    QString strFocus, strBehindDays, strTable;
    int iMenus = 0;
    runProgram([&](MainWindow *pWindow) {
        QVERIFY(QTest::qWaitForWindowActive(pWindow));
        strFocus = QApplication::focusWidget()->objectName();
        auto *pTable = childOf<QTreeView>(pWindow, "treeView");
        strTable = pTable->accessibleName();
        childOf<QSpinBox>(pWindow, "weeksSpinBox")->setFocus();
        QTest::keyClick(pWindow->windowHandle(), Qt::Key_Tab);
        strBehindDays = QApplication::focusWidget()->objectName();
        pTable->setFocus();
        WhileOpen menu([&](QWidget *pOpen) {
            ++iMenus;
            pOpen->close();
        });
        QTest::keyClick(pWindow->windowHandle(), Qt::Key_F10, Qt::ShiftModifier);
        closeWindow(pWindow);
    });
    QCOMPARE(strFocus, QString("userLineEdit"));
    QCOMPARE(strTable, QString("Trackers"));
    QCOMPARE(strBehindDays, QString("buttonRefresh"));
    QCOMPARE(iMenus, 1);
}

void TestStartup::firstRun()
{
    QString strUser("-"), strPassword("-");
    runProgram([&](MainWindow *pWindow) {
        strUser = childOf<QLineEdit>(pWindow, "userLineEdit")->text();
        strPassword = childOf<QLineEdit>(pWindow, "passwordLineEdit")->text();
        closeWindow(pWindow);
    });
    QCOMPARE(strUser, QString());
    QCOMPARE(strPassword, QString());
}

void TestStartup::lastUserIsShown()
{
    storeLastUser(ownSettingsFile(), "nora@club.example");
    QString strUser, strFocus;
    runProgram([&](MainWindow *pWindow) {
        strUser = childOf<QLineEdit>(pWindow, "userLineEdit")->text();
        QVERIFY(QTest::qWaitForWindowActive(pWindow));
        strFocus = QApplication::focusWidget()->objectName();
        closeWindow(pWindow);
    });
    QCOMPARE(strUser, QString("nora@club.example"));
    QCOMPARE(strFocus, QString("passwordLineEdit"));
}

void TestStartup::lastUserOfALoginIsThereAfterARestart()
{
    runProgram([](MainWindow *pWindow) {
        ScriptedServer server;
        setServicePort(server.serverPort());
        server.answer("/bslogin.php", R"({"id":7})");
        childOf<QLineEdit>(pWindow, "userLineEdit")->setText(" nora@club.example");
        childOf<QLineEdit>(pWindow, "passwordLineEdit")->setText("a-very-secret-word");
        auto *pLogin = childOf<QPushButton>(pWindow, "loginButton");
        pLogin->click();
        QTRY_COMPARE(pLogin->text(), QString("Logout"));
        childOf<QLineEdit>(pWindow, "userLineEdit")->setText("typed later");
        closeWindow(pWindow);
    });
    QCOMPARE(storedLastUser(ownSettingsFile()), QString(" nora@club.example"));
    QFile file(ownSettingsFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(!file.readAll().contains("secret"));

    QString strUser, strPassword("-");
    runProgram([&](MainWindow *pWindow) {
        strUser = childOf<QLineEdit>(pWindow, "userLineEdit")->text();
        strPassword = childOf<QLineEdit>(pWindow, "passwordLineEdit")->text();
        closeWindow(pWindow);
    });
    QCOMPARE(strUser, QString(" nora@club.example"));
    QCOMPARE(strPassword, QString());
}

void TestStartup::failedLoginStoresNothing()
{
    storeLastUser(ownSettingsFile(), "first@club.example");
    int iBoxes = 0;
    runProgram([&](MainWindow *pWindow) {
        ScriptedServer server;
        setServicePort(server.serverPort());
        server.answer("/bslogin.php", R"({"id":0,"msg":"no"})");
        BoxAnswers answers({QMessageBox::Ok});
        childOf<QLineEdit>(pWindow, "userLineEdit")->setText("second@club.example");
        auto *pLogin = childOf<QPushButton>(pWindow, "loginButton");
        pLogin->click();
        QTRY_VERIFY(pLogin->isEnabled());
        iBoxes = answers.seen().size();
        closeWindow(pWindow);
    });
    QCOMPARE(iBoxes, 1);
    QCOMPARE(storedLastUser(ownSettingsFile()), QString("first@club.example"));
}

void TestStartup::closingStoresNothing()
{
    runProgram([](MainWindow *pWindow) {
        childOf<QLineEdit>(pWindow, "userLineEdit")->setText("typed, never logged in");
        closeWindow(pWindow);
    });
    QVERIFY(!QFile::exists(ownSettingsFile()));
}

void TestStartup::argumentsAreNotRead()
{
    QString strUser("-");
    const QByteArrayList arguments{"--lastuser=x", "x@club.example", "--help"};
    const int iResult = runProgram(
        [&](MainWindow *pWindow) {
            strUser = childOf<QLineEdit>(pWindow, "userLineEdit")->text();
            closeWindow(pWindow);
        },
        arguments);
    QCOMPARE(iResult, 0);
    QCOMPARE(strUser, QString());
}

void TestStartup::processLogs()
{
    Program program;
    QVERIFY(program.start());
    QCOMPARE(program.log(), QStringList({"Construct", "step2", "\"veltrano\""}));
    QCOMPARE(program.process().readAllStandardOutput(), QByteArray());
}

void TestStartup::processRunsUntilToldToEnd()
{
    Program program;
    QVERIFY(program.start());
    QCOMPARE(program.process().state(), QProcess::Running);
    program.process().terminate();
    QVERIFY(program.process().waitForFinished(ProcessMs));
    QCOMPARE(program.process().exitStatus(), QProcess::CrashExit); // by the signal
    QCOMPARE(program.process().exitCode(), SIGTERM);
    // It wrote nothing: nobody logged in.
    QVERIFY(!QDir(program.config()).exists("Quillmora"));
}

void TestStartup::processReadsItsSettings()
{
#ifdef Q_OS_LINUX
    Program program;
    const QString strFile = settingsFile(program.config(), "veltrano");
    storeLastUser(strFile, "nora@club.example");
    const OpenWatch watch(strFile);
    QVERIFY(program.start());
    QVERIFY(watch.wasOpened()); // before the line that names the program
    QCOMPARE(storedLastUser(strFile), QString("nora@club.example"));
#else
    QTest::qSkip("no way here to see which file a process opens", __FILE__, __LINE__);
#endif
}

void TestStartup::processTakesNoArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("help") << QStringList{"--help"};
    QTest::newRow("version") << QStringList{"--version"};
    QTest::newRow("unknown") << QStringList{"--no-such-option", "-x"};
    QTest::newRow("a file") << QStringList{"/etc/hostname"};
    QTest::newRow("empty") << QStringList{""};
}

void TestStartup::processTakesNoArguments()
{
    QFETCH(QStringList, arguments);
    Program program;
    QVERIFY(program.start(arguments));
    QCOMPARE(program.log(), QStringList({"Construct", "step2", "\"veltrano\""}));
    QCOMPARE(program.process().state(), QProcess::Running);
    QCOMPARE(program.process().readAllStandardOutput(), QByteArray());
}

void TestStartup::programIsBuiltForItsService()
{
    const QByteArray baProgram = programBytes();
    QVERIFY(baProgram.size() > 10000);
    const QString strHost = PROGRAM_HOST;
    const QByteArray baHost(reinterpret_cast<const char *>(strHost.utf16()), strHost.size() * 2);
    QVERIFY(baProgram.contains(baHost));
    QCOMPARE(baProgram.contains(":/extra-ca.pem"), bool(PROGRAM_HAS_EXTRA_CA));
}

/// Without an application object: main() makes its own.
int main(int argc, char *argv[])
{
    prepareTestProcess();
    TestStartup test;
    return endTestProcess(QTest::qExec(&test, argc, argv));
}

#include "tst_startup.moc"
