// The trust anchors: what is read, what is said when it cannot be read, what is trusted afterwards.

#include "markingtranslator.h"
#include "quiettest.h"
#include "scriptedserver.h"

#include "window/mainwindow.h"

#include <QDir>
#include <QFile>
#include <QMetaMethod>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QPushButton>
#include <QResource>
#include <QSettings>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QStandardItemModel>
#include <QTemporaryDir>
#include <QTreeView>

#include <memory>
#include <utility>
#include <vector>

// The resource compiler writes these two; no header declares them.
int qInitResources_myresources();
int qCleanupResources_myresources();

namespace {
const char *const Level1 = "GeoTrustGlobalCA.pem";
const char *const Level2 = "RapidSSL_SHA256_CA-G3.pem";

const char *const SystemRoots = "/etc/ssl/certs";
// Variables that say what is different in the system where a function is played.
const char *const StrangerIsRoot = "STRANGER_IS_ROOT";
const char *const StrangerAppears = "STRANGER_APPEARS";

const char *const NoLevel1 = "Could not read Level 1 certificate!";
const char *const NoLevel2 = "Could not read Level 2 certificate!";
const char *const NotLoaded = "SSL certificates not loaded.";

QByteArray contents(const QString &strPath)
{
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no file %s", qPrintable(strPath));
    return file.readAll();
}

QByteArray level1Pem()
{
    return contents(QString(":/") + Level1);
}

QByteArray level2Pem()
{
    return contents(QString(":/") + Level2);
}

QByteArray brokenPem()
{
    return "-----BEGIN CERTIFICATE-----\nTm8gY2VydGlmaWNhdGUu\n-----END CERTIFICATE-----\n";
}

QByteArray der(const QByteArray &baPem)
{
    return QSslCertificate(baPem, QSsl::Pem).toDer();
}

QByteArray ownKey()
{
    return contents(TEST_CERTIFICATES "/ca.key");
}

QSslCertificate strangerCa()
{
    return QSslCertificate(contents(TEST_CERTIFICATES "/stranger-ca.pem"), QSsl::Pem);
}

QList<QSslCertificate> defaultCas()
{
    return QSslConfiguration::defaultConfiguration().caCertificates();
}

/// The set after these were added in order; the framework passes over what is in it already.
QList<QSslCertificate> withAdded(QList<QSslCertificate> set, const QList<QSslCertificate> &added)
{
    for (const QSslCertificate &certificate : added) {
        if (!set.contains(certificate))
            set << certificate;
    }
    return set;
}

/// Files by name, as a bundle in the format that is registered at run time.
QByteArray compiledBundle(const QMap<QString, QByteArray> &files)
{
    const QTemporaryDir folder;
    QByteArray baList = "<RCC><qresource prefix=\"/\">";
    for (auto file = files.begin(); file != files.end(); ++file) {
        QFile copy(folder.filePath(file.key()));
        if (!copy.open(QIODevice::WriteOnly) || copy.write(file.value()) != file.value().size())
            qFatal("cannot write %s", qPrintable(copy.fileName()));
        baList += "<file>" + file.key().toUtf8() + "</file>";
    }
    QFile list(folder.filePath("bundle.qrc"));
    if (!list.open(QIODevice::WriteOnly) || list.write(baList + "</qresource></RCC>") <= 0)
        qFatal("cannot write %s", qPrintable(list.fileName()));
    list.close();
    QProcess compiler;
    compiler.start(RESOURCE_COMPILER,
                   {"--binary", list.fileName(), "--output", folder.filePath("bundle.rcc")});
    if (!compiler.waitForFinished() || compiler.exitCode() != 0)
        qFatal("%s", compiler.readAllStandardError().constData());
    return contents(folder.filePath("bundle.rcc"));
}

/// Takes the place of the bundle that is compiled in, until its end.
class OtherBundle
{
public:
    /// A file whose content is a null array is not in the bundle.
    OtherBundle(const QByteArray &baLevel1, const QByteArray &baLevel2)
    {
        QMap<QString, QByteArray> files{{"refresh.png", contents(":/refresh.png")}};
        if (!baLevel1.isNull())
            files.insert(Level1, baLevel1);
        if (!baLevel2.isNull())
            files.insert(Level2, baLevel2);
        m_baBundle = compiledBundle(files);
        qCleanupResources_myresources();
        if (!QResource::registerResource(reinterpret_cast<const uchar *>(m_baBundle.constData())))
            qFatal("the bundle is not accepted");
    }
    ~OtherBundle()
    {
        QResource::unregisterResource(reinterpret_cast<const uchar *>(m_baBundle.constData()));
        qInitResources_myresources();
    }
    OtherBundle(const OtherBundle &) = delete;
    OtherBundle &operator=(const OtherBundle &) = delete;

private:
    QByteArray m_baBundle;
};

SeenBox warningBox(const QString &strText)
{
    SeenBox box;
    box.title = "Veltrano";
    box.text = strText;
    box.icon = QMessageBox::Warning;
    box.buttons = QMessageBox::Ok;
    box.parentName = "MainWindow";
    box.hasDefaultButton = true; // none was named: the framework then takes the only one
    return box;
}

/// The unfinished window behind the box that is open now.
QWidget *windowBehindBox()
{
    return QApplication::activeModalWidget()->parentWidget();
}

/// Puts a certificate among a folder's, with the links by which it is looked up.
void addRoot(const QString &strFolder, const QSslCertificate &certificate)
{
    QFile file(strFolder + '/' + certificate.serialNumber().replace(':', '-') + ".pem");
    if (!file.open(QIODevice::WriteOnly) || file.write(certificate.toPem()) <= 0)
        qFatal("cannot write %s", qPrintable(file.fileName()));
    file.close();
    if (QProcess::execute(OPENSSL_PROGRAM, {"rehash", strFolder}) != 0)
        qFatal("no links in %s", qPrintable(strFolder));
}

void removeLinks(const QString &strFolder)
{
    QDir folder(strFolder);
    const QStringList files = folder.entryList(QDir::Files);
    for (const QString &strFile : files) {
        if (!strFile.endsWith(".pem"))
            folder.remove(strFile);
    }
}

/// What runs a program with a folder, which is to be named next, in the place of the system's
/// roots; nothing where that is not permitted.
QStringList mountingCommand()
{
    const QString strMount = QString("mount --bind \"$0\" %1 && exec \"$@\"").arg(SystemRoots);
    for (const char *pOptions : {"--mount", "--mount --map-root-user"}) {
        QStringList command = QStringList("unshare") + QString(pOptions).split(' ');
        command << "sh"
                << "-c" << strMount;
        QStringList trial = command + QStringList({SystemRoots, "true"});
        QProcess process;
        process.start(trial.takeFirst(), trial);
        if (process.waitForFinished() && process.exitCode() == 0)
            return command;
    }
    return {};
}

bool isConnected(QWidget *pWindow, const char *pSender, const char *pSignal, const char *pSlot)
{
    const auto *pObject = pWindow->findChild<QObject *>(pSender);
    return pObject && QObject::disconnect(pObject, pSignal, pWindow, pSlot);
}
} // namespace

/// So that a failed comparison of boxes says what they showed.
static char *toString(const SeenBox &box)
{
    return QTest::toString(QString("\"%1\", icon %2, buttons %3, default %4, format %5, on %6: %7")
                               .arg(box.title)
                               .arg(box.icon)
                               .arg(box.buttons)
                               .arg(box.hasDefaultButton)
                               .arg(box.textFormat)
                               .arg(box.parentName, box.text));
}

class TestCertificates : public QuietTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void intactBundle();
    void orderInTheSet();
    void expiredCertificatesAreAdded();
    void onlyTheFirstOfAFileIsRead();
    void nothingIsRemoved();
    void addedOnceAndForGood();

    void boxes_data();
    void boxes();
    void boxesAreTranslatedButForTheTitle();
    void windowOpensAfterTheBoxes();
    void whatIsThereWhileABoxIsOpen();
    void boxesComeBeforeTheTrace();

    void trustedServer();
    void refusedServers_data();
    void refusedServers();
    void privateCaIsRefusedUnlessAdded();
    void anchorsCountForEarlierSockets();

    void rootsInForce_data();
    void rootsInForce();
    void rootThatAppears();
    void rootsOfTheSystem_data();
    void rootsOfTheSystem();

private:
    void setUp() override;
    void tearDown() override;
    QStringList unexpectedWarnings() const override;
    void makeWindow() { m_pWindow = std::make_unique<MainWindow>(); }
    QPushButton *loginButton() const
    {
        return childOf<QPushButton>(m_pWindow.get(), "loginButton");
    }
    void refusedLogin(ScriptedServer *pServer);
    bool isLoginSent(const QString &strCertificate);

    QSslConfiguration m_initial; // as the framework makes it, with no anchor added
    std::unique_ptr<MainWindow> m_pWindow;
};

void TestCertificates::initTestCase()
{
    QVERIFY(QSslSocket::supportsSsl());
    m_initial = QSslConfiguration::defaultConfiguration();
}

void TestCertificates::setUp()
{
    QSslConfiguration::setDefaultConfiguration(m_initial);
    setExtraCaCertificates({testCa()});
    setServicePort(1);
}

void TestCertificates::tearDown()
{
    m_pWindow.reset();
    QVERIFY(QFile::exists(":/greenlight.png")); // the compiled-in bundle is back
}

/// Without the framework's own about a read from a file that could not be opened.
QStringList TestCertificates::unexpectedWarnings() const
{
    QStringList lines = warningLog();
    for (const char *pName : {Level1, Level2})
        lines.removeAll(QString("QIODevice::read (QFile, \":/%1\"): device not open").arg(pName));
    return lines;
}

void TestCertificates::intactBundle()
{
    BoxAnswers answers({});
    makeWindow();
    QCOMPARE(answers.seen(), QList<SeenBox>());
    QCOMPARE(infoLog().count("step2"), 1);
}

void TestCertificates::orderInTheSet()
{
    const QList<QSslCertificate> before = defaultCas();
    setExtraCaCertificates({strangerCa(), testCa()});
    makeWindow();
    const QList<QSslCertificate> added{QSslCertificate(level1Pem(), QSsl::Pem),
                                       QSslCertificate(level2Pem(), QSsl::Pem), strangerCa(),
                                       testCa()};
    QVERIFY(!added.contains(QSslCertificate()));
    QCOMPARE(defaultCas(), before + added);
}

void TestCertificates::expiredCertificatesAreAdded()
{
    makeWindow();
    int iExpired = 0;
    const QList<QSslCertificate> set = defaultCas();
    for (const QSslCertificate &certificate : set) {
        if (certificate.toPem() == level1Pem() || certificate.toPem() == level2Pem()) {
            QVERIFY(certificate.expiryDate() < QDateTime::currentDateTime());
            ++iExpired;
        }
    }
    QCOMPARE(iExpired, 2);
}

void TestCertificates::onlyTheFirstOfAFileIsRead()
{
    const QList<QSslCertificate> before = defaultCas();
    const QByteArray level1 = level1Pem();
    const QByteArray level2 = level2Pem();
    const OtherBundle bundle(level1 + strangerCa().toPem(), level2 + level1);
    makeWindow();
    QCOMPARE(defaultCas().size(), before.size() + 3);
    QVERIFY(!defaultCas().contains(strangerCa()));
    QCOMPARE(defaultCas().at(before.size()), QSslCertificate(level1, QSsl::Pem));
    QCOMPARE(defaultCas().at(before.size() + 1), QSslCertificate(level2, QSsl::Pem));
}

void TestCertificates::nothingIsRemoved()
{
    QSslConfiguration configuration = m_initial;
    configuration.setCaCertificates({strangerCa()});
    QSslConfiguration::setDefaultConfiguration(configuration);
    makeWindow();
    QCOMPARE(defaultCas().value(0), strangerCa());
    QCOMPARE(defaultCas().size(), 4);
}

void TestCertificates::addedOnceAndForGood()
{
    makeWindow();
    const QList<QSslCertificate> after = defaultCas();
    m_pWindow->show();
    m_pWindow.reset();
    QCOMPARE(defaultCas(), after); // not taken back
    makeWindow();
    QCOMPARE(defaultCas(), after);
}

void TestCertificates::boxes_data()
{
    QTest::addColumn<QByteArray>("level1");
    QTest::addColumn<QByteArray>("level2");
    QTest::addColumn<QStringList>("texts");
    QTest::newRow("both right") << level1Pem() << level2Pem() << QStringList();
    QTest::newRow("level 1 missing")
        << QByteArray() << level2Pem() << QStringList{NoLevel1, NotLoaded};
    QTest::newRow("level 2 missing") << level1Pem() << QByteArray() << QStringList{NoLevel2};
    QTest::newRow("both missing") << QByteArray() << QByteArray()
                                  << QStringList{NoLevel1, NoLevel2, NotLoaded};
    const std::vector<std::pair<const char *, QByteArray>> unreadable{
        {"empty", ""},
        {"text", "no certificate\n"},
        {"broken between its marks", brokenPem()},
        {"DER", der(level1Pem())},
        {"a private key", ownKey()}};
    for (const auto &[pName, baFile] : unreadable) {
        QTest::addRow("level 1 is %s", pName) << baFile << level2Pem() << QStringList{NotLoaded};
        QTest::addRow("level 2 is %s", pName) << level1Pem() << baFile << QStringList();
        QTest::addRow("both are %s", pName) << baFile << baFile << QStringList{NotLoaded};
        QTest::addRow("level 1 is %s, level 2 missing", pName)
            << baFile << QByteArray() << QStringList{NoLevel2, NotLoaded};
    }
}

void TestCertificates::boxes()
{
    QFETCH(QByteArray, level1);
    QFETCH(QByteArray, level2);
    QFETCH(QStringList, texts);
    const QList<QSslCertificate> before = defaultCas();
    QList<SeenBox> expected;
    for (const QString &strText : texts)
        expected << warningBox(strText);

    const OtherBundle bundle(level1, level2);
    BoxAnswers answers({QMessageBox::Ok, QMessageBox::Ok, QMessageBox::Ok});
    makeWindow();
    QCOMPARE(answers.seen(), expected);

    // Both are added whatever they are, a certificate that could not be read as a null one.
    QCOMPARE(infoLog().count("step2"), 1);
    const QList<QSslCertificate> added{QSslCertificate(level1, QSsl::Pem),
                                       QSslCertificate(level2, QSsl::Pem), testCa()};
    QCOMPARE(defaultCas(), withAdded(before, added));
}

void TestCertificates::boxesAreTranslatedButForTheTitle()
{
    const MarkingTranslator translator;
    const OtherBundle bundle({}, {});
    BoxAnswers answers({QMessageBox::Ok, QMessageBox::Ok, QMessageBox::Ok});
    makeWindow();
    QList<SeenBox> expected;
    for (const char *pText : {NoLevel1, NoLevel2, NotLoaded})
        expected << warningBox(QString("MainWindow<%1>").arg(pText));
    QCOMPARE(answers.seen(), expected);
}

void TestCertificates::windowOpensAfterTheBoxes()
{
    const OtherBundle bundle({}, {});
    BoxAnswers answers({}); // all closed by Escape
    bool bVisibleWhileOpen = true;
    bool bIsWindow = false;
    answers.whileOpen([&] {
        bVisibleWhileOpen = windowBehindBox()->isVisible();
        bIsWindow = windowBehindBox()->isWindow() && !windowBehindBox()->parentWidget();
    });
    makeWindow();
    QCOMPARE(answers.seen().size(), 3);
    QVERIFY(!bVisibleWhileOpen);
    QVERIFY(bIsWindow);
    m_pWindow->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_pWindow.get()));
    QVERIFY(loginButton()->isEnabled());
}

/// The trust anchors come after the table and the selection buttons, and before everything that
/// follows: a manager that exists earlier could open a connection without them.
void TestCertificates::whatIsThereWhileABoxIsOpen()
{
    const OtherBundle bundle({}, level2Pem());
    BoxAnswers answers({QMessageBox::Ok, QMessageBox::Ok});
    QMap<QString, bool> there;
    answers.whileOpen([&] {
        QWidget *pWindow = windowBehindBox();
        auto *pTree = pWindow->findChild<QTreeView *>("treeView");
        there["serial port"] = pWindow->findChild<QSerialPort *>() != nullptr;
        there["table"] = qobject_cast<QStandardItemModel *>(pTree->model()) != nullptr;
        there["table's menu"] = pTree->contextMenuPolicy() == Qt::CustomContextMenu;
        there["table's double click"] = isConnected(pWindow, "treeView",
                                                    SIGNAL(doubleClicked(QModelIndex)),
                                                           SLOT(onTrackerDoubleClick(QModelIndex)));
        there["selection buttons"] =
            pWindow->findChild<QWidget *>("selectionBox")->findChildren<QPushButton *>().size() ==
            2;
        there["network"] = pWindow->findChild<QNetworkAccessManager *>() != nullptr;
        there["settings"] = pWindow->findChild<QSettings *>() != nullptr;
        there["login"] =
            isConnected(pWindow, "loginButton", SIGNAL(clicked(bool)), SLOT(onLoginClicked(bool)));
        there["progress bar hidden"] = pWindow->findChild<QWidget *>("progressBar")->isHidden();
    });
    makeWindow();
    QCOMPARE(answers.seen().size(), 2);
    QCOMPARE(QStringList(there.keys(true)),
             QStringList({"selection buttons", "serial port", "table", "table's double click",
                          "table's menu"}));
    QCOMPARE(QStringList(there.keys(false)),
             QStringList({"login", "network", "progress bar hidden", "settings"}));
}

void TestCertificates::boxesComeBeforeTheTrace()
{
    const OtherBundle bundle(brokenPem(), level2Pem());
    BoxAnswers answers({QMessageBox::Ok});
    QStringList logWhileOpen;
    int iAddedWhileOpen = -1;
    const int iBefore = defaultCas().size();
    answers.whileOpen([&] {
        logWhileOpen = infoLog();
        iAddedWhileOpen = defaultCas().size() - iBefore;
    });
    makeWindow();
    QCOMPARE(logWhileOpen, QStringList{"Construct"});
    QCOMPARE(iAddedWhileOpen, 0);
    QCOMPARE(infoLog().mid(0, 2), QStringList({"Construct", "step2"}));
}

void TestCertificates::trustedServer()
{
    ScriptedServer server;
    setServicePort(server.serverPort());
    makeWindow();
    loginButton()->click();
    QTRY_COMPARE(server.requests().size(), 1);
    QCOMPARE(server.requests().first().path(), QByteArray("/bslogin.php"));
}

/// A login that must end as with an empty reply, without a byte of it on the wire.
void TestCertificates::refusedLogin(ScriptedServer *pServer)
{
    setServicePort(pServer->serverPort());
    makeWindow();
    BoxAnswers answers({QMessageBox::Ok});
    clearInfoLog();
    loginButton()->click();
    QVERIFY(!loginButton()->isEnabled());
    QTRY_VERIFY(loginButton()->isEnabled());

    QVERIFY(pServer->connections() >= 1);
    QCOMPARE(pServer->bytesReceived(), qint64(0));
    QVERIFY(pServer->requests().isEmpty());
    SeenBox expected = warningBox(QString());
    expected.title = "Error";
    expected.icon = QMessageBox::Critical;
    QCOMPARE(answers.seen(), QList<SeenBox>{expected});
    QCOMPARE(loginButton()->text(), QString("Login"));
    QCOMPARE(infoLog(), QStringList{"\"\""}); // the empty body, nothing about TLS
}

void TestCertificates::refusedServers_data()
{
    QTest::addColumn<QString>("certificate");
    QTest::newRow("from a CA that nobody trusts") << "untrusted";
    QTest::newRow("for another host") << "wrong-host";
    QTest::newRow("expired") << "expired";
}

void TestCertificates::refusedServers()
{
    QFETCH(QString, certificate);
    ScriptedServer server(certificate);
    refusedLogin(&server);
}

void TestCertificates::privateCaIsRefusedUnlessAdded()
{
    setExtraCaCertificates({});
    ScriptedServer server("trusted");
    refusedLogin(&server);
}

void TestCertificates::anchorsCountForEarlierSockets()
{
    // The set is the process's: another window's manager starts from it too.
    setExtraCaCertificates({});
    MainWindow earlier;
    setExtraCaCertificates({testCa()});
    makeWindow();
    ScriptedServer server;
    setServicePort(server.serverPort());
    childOf<QPushButton>(&earlier, "loginButton")->click();
    QTRY_COMPARE(server.requests().size(), 1);
}

/// Whether a new window sends its login to a server with the certificate.
bool TestCertificates::isLoginSent(const QString &strCertificate)
{
    ScriptedServer server(strCertificate);
    server.answer("/bslogin.php", "{}");
    setServicePort(server.serverPort());
    makeWindow();
    BoxAnswers answers({QMessageBox::Ok});
    loginButton()->click();
    if (!QTest::qWaitFor([&] { return loginButton()->isEnabled(); }))
        qFatal("the login has no end");
    return !server.requests().isEmpty();
}

void TestCertificates::rootsInForce_data()
{
    QTest::addColumn<QByteArray>("level1");
    QTest::addColumn<QByteArray>("level2");
    QTest::addColumn<QList<QSslCertificate>>("extra");
    QTest::addColumn<QString>("certificate");
    QTest::addColumn<bool>("sent");
    const QByteArray baCa = testCa().toPem();
    const QList<QSslCertificate> none;
    const bool bIsRoot = qEnvironmentVariableIsSet(StrangerIsRoot);
    QTest::newRow("a root of the system")
        << level1Pem() << level2Pem() << none << "untrusted" << bIsRoot;
    QTest::newRow("a root of the system, besides another CA")
        << baCa << level2Pem() << QList<QSslCertificate>{testCa()} << "untrusted" << bIsRoot;
    QTest::newRow("level 1") << baCa << level2Pem() << none << "trusted" << true;
    QTest::newRow("level 2") << level1Pem() << baCa << none << "trusted" << true;
    QTest::newRow("an extra CA") << level1Pem() << level2Pem() << QList<QSslCertificate>{testCa()}
                                 << "trusted" << true;
    QTest::newRow("none of them") << level1Pem() << level2Pem() << none << "trusted" << false;
}

void TestCertificates::rootsInForce()
{
    QFETCH(QByteArray, level1);
    QFETCH(QByteArray, level2);
    QFETCH(QList<QSslCertificate>, extra);
    QFETCH(QString, certificate);
    QFETCH(bool, sent);
    setExtraCaCertificates(extra);
    const OtherBundle bundle(level1, level2);
    QCOMPARE(isLoginSent(certificate), sent);
}

void TestCertificates::rootThatAppears()
{
    QVERIFY(!isLoginSent("untrusted"));
    if (qEnvironmentVariableIsSet(StrangerAppears))
        addRoot(SystemRoots, strangerCa());
    QCOMPARE(isLoginSent("untrusted"), qEnvironmentVariableIsSet(StrangerAppears));
}

void TestCertificates::rootsOfTheSystem_data()
{
    QTest::addColumn<bool>("hasLinks");
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QString>("function");
    QTest::newRow("looked up on demand") << true << StrangerIsRoot << "rootsInForce";
    QTest::newRow("read at the start") << false << StrangerIsRoot << "rootsInForce";
    QTest::newRow("new while the program runs") << true << StrangerAppears << "rootThatAppears";
}

/// The two above, in a system with other roots.
void TestCertificates::rootsOfTheSystem()
{
    QFETCH(bool, hasLinks);
    QFETCH(QString, variable);
    QFETCH(QString, function);
    const QStringList mounting = mountingCommand();
    if (mounting.isEmpty())
        return QTest::qSkip("no mounts are permitted here", __FILE__, __LINE__);

    const QTemporaryDir roots;
    addRoot(roots.path(), QSslCertificate(level2Pem(), QSsl::Pem));
    if (variable == StrangerIsRoot)
        addRoot(roots.path(), strangerCa());
    if (!hasLinks)
        removeLinks(roots.path());
    QCOMPARE(failureInProcess({function}, {{variable, "1"}}, mounting + QStringList(roots.path())),
             QString());
}

VELTRANO_TEST_MAIN(TestCertificates)
#include "tst_certificates.moc"
