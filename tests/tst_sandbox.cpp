// The client's own connections to the sandbox: their handshake, and what happens when the sandbox
// closes one that was kept.

#include "quiettest.h"

#include "service/request.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QProcess>
#include <QSignalSpy>
#include <QSslCertificate>
#include <QSslCipher>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QUrlQuery>

#include <memory>
#include <vector>

Q_DECLARE_METATYPE(QSsl::SslProtocol)

namespace {
constexpr int ServedByTheSandbox = 64; // at a time, on each address
constexpr int WaitMs = 30000;

const char *const Login = "/bslogin.php";

QByteArray loginForm()
{
    QUrlQuery items;
    items.addQueryItem("email", "operator@quillmora.example");
    items.addQueryItem("password", "demo-flight-7");
    return formBody(items);
}
} // namespace

class TestSandbox : public QuietTest
{
    Q_OBJECT

private slots:
    void handshake_data();
    void handshake();
    void closedConnectionIsOpenedAgain();

private:
    void setUp() override;
    void tearDown() override;
    QByteArray lineOf(const QByteArray &baPrefix);
    QNetworkReply *finished(QNetworkReply *pReply);
    void takeAllConnections(const QString &strAddress);

    std::unique_ptr<QTemporaryDir> m_pFolder;
    std::unique_ptr<QProcess> m_pSandbox;
    std::unique_ptr<QNetworkAccessManager> m_pNetManager;
    std::vector<std::unique_ptr<QSslSocket>> m_idle;
    QByteArray m_baOutput;
    quint16 m_iPort = 0;
};

void TestSandbox::setUp()
{
    m_pFolder = std::make_unique<QTemporaryDir>();
    m_pNetManager = std::make_unique<QNetworkAccessManager>();
    m_pSandbox = std::make_unique<QProcess>();
    m_baOutput.clear();
    m_pSandbox->start(SANDBOX, {"--port", "0", "--data-dir", m_pFolder->path()});
    while (!m_baOutput.contains("listening on ")) {
        QVERIFY2(m_pSandbox->waitForReadyRead(WaitMs), m_pSandbox->readAllStandardError());
        m_baOutput += m_pSandbox->readAllStandardOutput();
    }
    m_iPort = lineOf("listening on https://localhost:").toUShort();
    setServicePort(m_iPort);
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates(QSslCertificate::fromPath(lineOf("CA certificate: ")));
    QSslConfiguration::setDefaultConfiguration(configuration);
}

void TestSandbox::tearDown()
{
    m_idle.clear();
    m_pNetManager.reset();
    m_pSandbox->terminate();
    QVERIFY(m_pSandbox->waitForFinished(WaitMs));
    QCOMPARE(m_pSandbox->exitCode(), 0);
}

void TestSandbox::handshake_data()
{
    QTest::addColumn<QSsl::SslProtocol>("highest");
    QTest::addColumn<QStringList>("suites");
    QTest::newRow("as it is") << QSsl::SecureProtocols
                              << QStringList{"TLS_AES_256_GCM_SHA384", "TLS_AES_128_GCM_SHA256",
                                             "TLS_CHACHA20_POLY1305_SHA256"};
    QTest::newRow("where the system has no more than TLS 1.2")
        << QSsl::TlsV1_2
        << QStringList{"ECDHE-ECDSA-AES256-GCM-SHA384", "ECDHE-ECDSA-AES128-GCM-SHA256",
                       "ECDHE-ECDSA-CHACHA20-POLY1305"};
}

void TestSandbox::handshake()
{
    QFETCH(QSsl::SslProtocol, highest);
    QFETCH(QStringList, suites);
    QNetworkRequest request = formRequest("/bsGetMyGroups.php");
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setProtocol(highest);
    request.setSslConfiguration(configuration);

    const QNetworkReply *pReply = finished(m_pNetManager->get(request));

    QCOMPARE(pReply->error(), QNetworkReply::NoError);
    const QString strSuite = pReply->sslConfiguration().sessionCipher().name();
    QVERIFY2(suites.contains(strSuite), qPrintable(strSuite));
}

void TestSandbox::closedConnectionIsOpenedAgain()
{
    const QNetworkReply *pFirst = finished(m_pNetManager->get(formRequest("/bsGetMyGroups.php")));
    QCOMPARE(pFirst->error(), QNetworkReply::NoError);
    qRegisterMetaType<QNetworkReply *>(); // or the spy warns that it cannot keep the argument
    QSignalSpy handshakes(m_pNetManager.get(), SIGNAL(encrypted(QNetworkReply*)));
    // The kept connection is the oldest one of its address, whichever that is.
    takeAllConnections("127.0.0.1");
    takeAllConnections("::1");

    QNetworkReply *pReply =
        finished(postOnce(m_pNetManager.get(), formRequest(Login), loginForm()));

    QCOMPARE(pReply->error(), QNetworkReply::NoError);
    QCOMPARE(QJsonDocument::fromJson(pReply->readAll()).object()["id"].toInt(), 1);
    QCOMPARE(handshakes.count(), 1);
    QCOMPARE(m_pSandbox->readAllStandardError().count(Login), 1);
}

/// The rest of the line of the sandbox's output that begins so.
QByteArray TestSandbox::lineOf(const QByteArray &baPrefix)
{
    const QList<QByteArray> lines = m_baOutput.split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(baPrefix))
            return line.mid(baPrefix.size());
    }
    return {};
}

/// The reply, when it is there; it ends with the manager.
QNetworkReply *TestSandbox::finished(QNetworkReply *pReply)
{
    QSignalSpy spy(pReply, SIGNAL(finished()));
    if (!spy.wait(WaitMs))
        qFatal("no reply");
    return pReply;
}

/// Opens as many connections as the sandbox serves, which asks nothing of the address's own.
void TestSandbox::takeAllConnections(const QString &strAddress)
{
    for (int i = 0; i < ServedByTheSandbox; ++i) {
        m_idle.push_back(std::make_unique<QSslSocket>());
        QSslSocket *pSocket = m_idle.back().get();
        pSocket->connectToHostEncrypted(strAddress, m_iPort);
        if (!pSocket->waitForEncrypted(WaitMs)) {
            // Some machines have one address only.
            QCOMPARE(pSocket->error(), QAbstractSocket::ConnectionRefusedError);
            QCOMPARE(strAddress, QString("::1"));
            return;
        }
    }
}

QTEST_GUILESS_MAIN(TestSandbox)
#include "tst_sandbox.moc"
