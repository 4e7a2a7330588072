// Which servers the client talks to, by what they show and speak in the handshake: what trust
// anchors, framework and system decide together, written down as it is.

#include "opensslserver.h"
#include "qtversions.h"
#include "quiettest.h"
#include "scriptedserver.h"

#include "window/mainwindow.h"

#include <QLibrary>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QPushButton>
#include <QSignalSpy>
#include <QSslConfiguration>
#include <QSslError>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>

#include <memory>

namespace {
constexpr const char *Email = "operator@quillmora.example";
constexpr const char *Password = "demo-flight-7";
const char *const NamedHost = "tracker.test.localhost"; // reached through a proxy only
constexpr int DebianSecurityLevel = 2;
constexpr int WaitMs = 20000;

using Errors = QList<QSslError::SslError>;

/// One server: the files of tests/support/make-chains that it shows, and how it is reached.
struct Server
{
    QString files;
    QStringList arguments = {};
    QString host = "localhost";
    QString root = "ca"; // known to the client besides the built-in ones and the tests' CA
};

enum class Outcome {
    Accepted,
    CertificateRefused, // behind the handshake, for the errors that go with it
    NoHandshake,
    NoHandshakeWithAnyone // even where the other side would take everything
};

void addColumns()
{
    QTest::addColumn<Server>("server");
    QTest::addColumn<Outcome>("outcome");
    QTest::addColumn<Errors>("errors");
}

void accepted(const char *pRow, const Server &server)
{
    QTest::newRow(pRow) << server << Outcome::Accepted << Errors();
}

void refused(const char *pRow, const Server &server, const Errors &errors)
{
    QTest::newRow(pRow) << server << Outcome::CertificateRefused << errors;
}

void noHandshake(const char *pRow, const Server &server, Outcome outcome = Outcome::NoHandshake)
{
    QTest::newRow(pRow) << server << outcome << Errors();
}

Server under(const char *pFiles, const char *pRoot)
{
    Server server{pFiles};
    server.root = pRoot;
    return server;
}

Server at(const char *pHost, const char *pFiles)
{
    Server server{pFiles};
    server.host = pHost;
    return server;
}

QString chainFile(const char *pName)
{
    return QStringLiteral(TEST_CHAINS "/") + pName;
}

QSslCertificate root(const QString &strName)
{
    return QSslCertificate::fromPath(TEST_CHAINS "/" + strName + ".pem").value(0);
}

template <typename Function>
Function sslFunction(QLibrary *pLibrary, const char *pName)
{
    return reinterpret_cast<Function>(pLibrary->resolve(pName));
}

/// The level of the system's OpenSSL, as the client's sockets get it; -1 where it does not tell.
int securityLevel()
{
    constexpr int MajorShift = 28;
    const bool bOld = QSslSocket::sslLibraryVersionNumber() >> MajorShift < 3;
    QLibrary library("ssl", bOld ? "1.1" : "3");
    auto *pMethod = sslFunction<const void *(*)()>(&library, "TLS_client_method");
    auto *pNew = sslFunction<void *(*)(const void *)>(&library, "SSL_CTX_new");
    auto *pLevel = sslFunction<int (*)(const void *)>(&library, "SSL_CTX_get_security_level");
    auto *pFree = sslFunction<void (*)(void *)>(&library, "SSL_CTX_free");
    if (!pMethod || !pNew || !pLevel || !pFree)
        return -1;
    void *pContext = pNew(pMethod());
    const int iLevel = pContext ? pLevel(pContext) : -1;
    pFree(pContext);
    return iLevel;
}

/// As QTRY_COMPARE, which looks only every 50 ms: too seldom for a hundred servers.
template <typename Condition>
bool becomes(const Condition &condition)
{
    return QTest::qWaitFor(condition, WaitMs);
}

bool isAnswered(const BoxAnswers &answers)
{
    return becomes([&] { return answers.seen().size() == 1; });
}

/// Sends these bytes as soon as a client has sent anything, and keeps what it sent.
class PlainServer : public QTcpServer
{
    Q_OBJECT

public:
    explicit PlainServer(const QByteArray &baAnswer) : m_baAnswer(baAnswer)
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, &PlainServer::serve);
    }

    QByteArray m_baReceived;

private:
    void serve()
    {
        QTcpSocket *pSocket = nextPendingConnection();
        connect(pSocket, &QTcpSocket::readyRead, this, [this, pSocket] {
            m_baReceived += pSocket->readAll();
            pSocket->write(m_baAnswer);
            pSocket->disconnectFromHost();
        });
    }

    QByteArray m_baAnswer;
};
} // namespace

Q_DECLARE_METATYPE(Server)
Q_DECLARE_METATYPE(Outcome)

class TestTls : public QuietTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void chains_data();
    void chains() { tryServer(); }
    void impostors_data();
    void impostors() { tryServer(); }
    void validity_data();
    void validity() { tryServer(); }
    void names_data();
    void names() { tryServer(); }
    void addresses_data();
    void addresses() { tryServer(); }
    void wildcards_data();
    void wildcards() { tryServer(); }
    void usage_data();
    void usage() { tryServer(); }
    void issuers_data();
    void issuers() { tryServer(); }
    void constraints_data();
    void constraints() { tryServer(); }
    void nobodyAsksWhatIsRevoked_data();
    void nobodyAsksWhatIsRevoked() { tryServer(); }
    void sizes_data();
    void sizes() { tryServer(); }

    // What the system's OpenSSL is told to let pass decides these, not the client.
    void signatures_data();
    void signatures() { tryAtDebiansLevel(); }
    void keys_data();
    void keys() { tryAtDebiansLevel(); }
    void protocols_data();
    void protocols() { tryAtDebiansLevel(); }
    void ciphers_data();
    void ciphers() { tryAtDebiansLevel(); }

    void noTls_data();
    void noTls();

private:
    void setUp() override { QSslConfiguration::setDefaultConfiguration(m_initial); }
    void tearDown() override;
    void makeWindow();
    void logIn() const { childOf<QPushButton>(m_pWindow.get(), "loginButton")->click(); }
    void tryServer();
    void tryAtDebiansLevel();
    void isAccepted(const Server &server);
    void isRefused(const Server &server, const Errors &errors);
    void servesTheCareless(const Server &server) const;
    void windowGoesOn();

    QSslConfiguration m_initial; // as the framework makes it, with no anchor added
    int m_iSecurityLevel = -1;
    std::unique_ptr<MainWindow> m_pWindow;
};

void TestTls::initTestCase()
{
    qRegisterMetaType<QNetworkReply *>(); // both for the spies
    qRegisterMetaType<QList<QSslError>>();
    m_initial = QSslConfiguration::defaultConfiguration();
    m_iSecurityLevel = securityLevel();
}

void TestTls::tearDown()
{
    m_pWindow.reset();
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
}

void TestTls::makeWindow()
{
    m_pWindow = std::make_unique<MainWindow>();
    childOf<QLineEdit>(m_pWindow.get(), "userLineEdit")->setText(Email);
    childOf<QLineEdit>(m_pWindow.get(), "passwordLineEdit")->setText(Password);
}

void TestTls::tryAtDebiansLevel()
{
    if (m_iSecurityLevel != DebianSecurityLevel) {
        const QString strReason = "OpenSSL's security level is %1 here; the table is of level %2";
        QSKIP(qPrintable(strReason.arg(m_iSecurityLevel).arg(DebianSecurityLevel)), );
    }
    tryServer();
}

void TestTls::tryServer()
{
    QFETCH(Server, server);
    QFETCH(Outcome, outcome);
    QFETCH(Errors, errors);
    setExtraCaCertificates({testCa(), root(server.root)});
    if (outcome == Outcome::Accepted) {
        isAccepted(server);
        return;
    }
    isRefused(server, errors);
    if (QTest::currentTestFailed())
        return;
    windowGoesOn();
    if (outcome == Outcome::NoHandshake)
        servesTheCareless(server);
}

/// The login arrives once, as it was sent, and its reply is shown.
void TestTls::isAccepted(const Server &server)
{
    OpenSslServer process(server.files, server.arguments);
    process.reachAs(server.host);
    makeWindow();
    BoxAnswers answers({QMessageBox::Ok});
    logIn();
    const QByteArray baBody = QByteArray("email=") + Email + "&password=" + Password;
    const QByteArray baRequest =
        "POST /bslogin.php HTTP/1.1\r\nHost: " + process.host() +
        "\r\nContent-Type: application/x-www-form-urlencoded"
        "\r\nContent-Length: " +
        QByteArray::number(baBody.size()) +
        "\r\nConnection: Keep-Alive\r\nAccept-Encoding: " + AcceptedEncodings +
        "\r\nAccept-Language: en,*\r\nUser-Agent: Mozilla/5.0\r\n\r\n" + baBody;
    QVERIFY(becomes([&] { return process.decrypted().size() >= baRequest.size(); }));
    QCOMPARE(process.decrypted(), baRequest);
    process.answer("HTTP/1.1 200 OK\r\nContent-Length: 17\r\n\r\n{\"msg\":\"arrived\"}");
    QVERIFY(isAnswered(answers));
    QCOMPARE(answers.seen().first().text, QString("arrived"));

    m_pWindow.reset();
    QVERIFY(becomes([&] { return process.hasEnded(); }));
    QCOMPARE(process.decrypted(), baRequest);
    QCOMPARE(process.connections(), 1);
    QVERIFY(!process.encrypted().contains(Password));
}

/// The login ends as with an empty reply, and nothing of it has left the client.
void TestTls::isRefused(const Server &server, const Errors &errors)
{
    OpenSslServer process(server.files, server.arguments);
    process.reachAs(server.host);
    makeWindow();
    const QSignalSpy seen(m_pWindow->findChild<QNetworkAccessManager *>(),
                          SIGNAL(sslErrors(QNetworkReply*,QList<QSslError>)));
    BoxAnswers answers({QMessageBox::Ok});
    clearInfoLog();
    logIn();
    QVERIFY(becomes([&] { return answers.seen().size() == 1 || !process.decrypted().isEmpty(); }));
    QCOMPARE(process.decrypted(), QByteArray());
    QVERIFY(becomes([&] { return process.hasEnded(); }));
    QCOMPARE(process.decrypted(), QByteArray());
    QVERIFY(!process.encrypted().isEmpty());
    QVERIFY(!process.encrypted().contains(Password));
    QCOMPARE(process.connections(), 1);

    Errors found;
    for (const QList<QVariant> &signal : seen) {
        const auto list = signal.value(1).value<QList<QSslError>>();
        for (const QSslError &error : list)
            found << error.error();
    }
    QCOMPARE(found, errors);
    QCOMPARE(answers.seen().first().text, QString()); // nothing about TLS, here and in the log
    QCOMPARE(infoLog(), QStringList{"\"\""});
}

/// A refused handshake says nothing of a server that could not have made one with anybody.
void TestTls::servesTheCareless(const Server &server) const
{
    OpenSslServer process(server.files, server.arguments);
    QProcess client;
    client.start(OPENSSL_PROGRAM,
                 QStringList{"s_client", "-quiet", "-cipher", "ALL:eNULL:@SECLEVEL=0", "-connect",
                             "127.0.0.1:" + QString::number(process.serverPort())} +
                     server.arguments.filter("-tls1"));
    client.write("careless");
    QVERIFY(becomes([&] { return process.decrypted() == "careless"; }));
    client.kill();
    QVERIFY(client.waitForFinished());
}

void TestTls::windowGoesOn()
{
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    ScriptedServer trusted;
    setServicePort(trusted.serverPort());
    trusted.answer("/bslogin.php", R"({"msg":"arrived"})");
    BoxAnswers answers({QMessageBox::Ok});
    logIn();
    QVERIFY(isAnswered(answers));
    QCOMPARE(answers.seen().first().text, QString("arrived"));
    QCOMPARE(trusted.requests().size(), 1);
}

void TestTls::chains_data()
{
    addColumns();
    accepted("under the root", {"direct"});
    accepted("under an intermediate CA", {"with-intermediate"});
    accepted("under two intermediate CAs", {"with-two-intermediates"});
    accepted("the root is sent as well", {"with-root"});
    accepted("intermediate CAs in the wrong order", {"reversed"});
    accepted("strangers among the chain", {"with-strangers"});
    accepted("a CA as the server's own certificate", {"authority-as-leaf"});
    refused(
        "intermediate CA not sent", {"without-intermediate"},
        {QSslError::UnableToGetLocalIssuerCertificate, QSslError::UnableToVerifyFirstCertificate});
    refused("second intermediate CA not sent", {"with-a-gap"},
            {QSslError::UnableToGetLocalIssuerCertificate});
    refused("under a root that nobody knows", {"unknown-root"},
            {QSslError::SelfSignedCertificateInChain});
    refused("self-signed", {"self-signed"}, {QSslError::SelfSignedCertificate});
    refused("self-signed as a CA", {"self-signed-authority"}, {QSslError::SelfSignedCertificate});
}

void TestTls::impostors_data()
{
    addColumns();
    refused("Level 1's name, another key", {"level-1-impostor"},
            {QSslError::SelfSignedCertificateInChain});
    refused("Level 2's name, another key", {"level-2-impostor"},
            {QSslError::SelfSignedCertificateInChain});
    refused("Level 2's name, another key, self-signed", {"level-2-impostor-alone"},
            {QSslError::SelfSignedCertificateInChain});
    refused("the valid root's name, another key", {"root-impostor"},
            {QSslError::CertificateSignatureFailed});
    refused("the valid root's name, another key, not sent", {"root-impostor-not-sent"},
            {QSslError::CertificateSignatureFailed});
}

void TestTls::validity_data()
{
    addColumns();
    refused("expired", {"expired"}, {QSslError::CertificateExpired});
    refused("not yet valid", {"not-yet-valid"}, {QSslError::CertificateNotYetValid});
    refused("expired intermediate CA", {"expired-intermediate"}, {QSslError::CertificateExpired});
    refused("intermediate CA not yet valid", {"future-intermediate"},
            {QSslError::CertificateNotYetValid});
    // The framework passes over an expired anchor: it is as if it were not there.
    refused(
        "expired root", under("under-expired-root", "expired-root"),
        {QSslError::UnableToGetLocalIssuerCertificate, QSslError::UnableToVerifyFirstCertificate});
    refused("root not yet valid", under("under-future-root", "future-root"),
            {QSslError::CertificateNotYetValid});
}

void TestTls::names_data()
{
    addColumns();
    const Errors mismatch{QSslError::HostNameMismatch};
    accepted("an alternative name", {"alternative-right"});
    accepted("an alternative name in capitals", {"upper-case"});
    // Alternative names do not take the place of the subject's: the framework looks at both.
    accepted("the subject's name beside an alternative one of another host", {"subject-right"});
    accepted("the subject's name and no alternative one", {"subject-only"});
    accepted("the second of the subject's names", {"second-subject"});
    refused("another host", {"other-host"}, mismatch);
    refused("no name", {"no-name"}, mismatch);
    refused("an address of the web, of mail and an object", {"other-kinds-of-names"}, mismatch);
    refused("final dot", {"final-dot"}, mismatch);
    refused("the host's name begins another one", {"longer-name"}, mismatch);
    refused("zero byte behind the host's name", {"zero-byte"}, mismatch);
}

void TestTls::addresses_data()
{
    addColumns();
    const Errors mismatch{QSslError::HostNameMismatch};
    accepted("an address", at("127.0.0.1", "address"));
    accepted("an address written as a name", at("127.0.0.1", "address-as-name"));
    accepted("an address as the subject's name", at("127.0.0.1", "address-as-subject"));
    refused("another address", at("127.0.0.1", "other-address"), mismatch);
    refused("a wildcard of addresses", at("127.0.0.1", "address-wildcard"), mismatch);
    refused("the name that has the address", at("127.0.0.1", "direct"), mismatch);
    refused("the address that the name has", {"address"}, mismatch);
}

void TestTls::wildcards_data()
{
    addColumns();
    const Errors mismatch{QSslError::HostNameMismatch};
    accepted("*.test.localhost", at(NamedHost, "wildcard"));
    accepted("*.test.localhost as the subject's name", at(NamedHost, "wildcard-subject"));
    accepted("track*.test.localhost", at(NamedHost, "wildcard-prefix"));
    refused("*er.test.localhost", at(NamedHost, "wildcard-suffix"), mismatch);
    refused("tracker.*.localhost", at(NamedHost, "wildcard-second"), mismatch);
    refused("*.*.localhost", at(NamedHost, "wildcard-twice"), mismatch);
    refused("*", {"wildcard-alone"}, mismatch);
    refused("l*", {"wildcard-part"}, mismatch);
    refused("*.localhost", at("tracker.localhost", "wildcard-two-labels"), mismatch);
    refused("*.test.localhost for two labels", at("a.tracker.test.localhost", "wildcard"),
            mismatch);
    refused("*.test.localhost for none", at("test.localhost", "wildcard"), mismatch);
}

void TestTls::usage_data()
{
    addColumns();
    const Errors purpose{QSslError::InvalidPurpose};
    accepted("no usage named", {"any-usage"});
    accepted("for clients and servers", {"extended-both"});
    refused("for clients", {"extended-client"}, purpose);
    // Where extended usages are named, that of a server must be among them.
    refused("for any purpose", {"extended-any"}, purpose);
    accepted("may not sign", {"no-signature"});
    accepted("may not sign, RSA", {"rsa-no-signature"});
    refused("signs certificates only", {"only-signs-certificates"}, purpose);
    accepted("unknown extension", {"unknown-extension"});
    refused("unknown critical extension", {"unknown-critical-extension"},
            {QSslError::UnspecifiedError});
}

void TestTls::issuers_data()
{
    addColumns();
    refused("is no CA", {"no-authority"},
            {QSslError::InvalidCaCertificate, QSslError::InvalidPurpose});
    refused("does not say that it is a CA", {"no-constraints"}, {QSslError::InvalidCaCertificate});
    refused("says nothing of CAs", {"neither"},
            {QSslError::InvalidCaCertificate, QSslError::InvalidPurpose});
    refused(
        "may not sign certificates", {"may-not-sign"},
        {QSslError::InvalidCaCertificate, QSslError::InvalidPurpose, QSslError::UnspecifiedError});
    refused("for clients", {"for-clients"}, {QSslError::InvalidPurpose});
    refused("unknown critical extension", {"unknown-critical-issuer"},
            {QSslError::UnspecifiedError});
    accepted("path as long as it may be", {"path-short-enough"});
    refused("path too long", {"path-too-long"}, {QSslError::PathLengthExceeded});
}

void TestTls::constraints_data()
{
    addColumns();
    const Errors constraint{QSslError::UnspecifiedError};
    accepted("permitted", {"permitted"});
    refused("another host is permitted", {"not-permitted"}, constraint);
    refused("excluded", {"excluded"}, constraint);
    refused("the subject's name is not permitted", at(NamedHost, "not-permitted-subject"),
            constraint);
    // What follows should be refused. OpenSSL holds the constraint against the subject's name only
    // where that looks like a host's and there are no others; the framework takes it anyway.
    accepted("the subject's name of one label is not permitted", {"not-permitted-label"});
    accepted("the subject's name is not permitted, an alternative one is",
             at(NamedHost, "around-the-constraint"));
}

void TestTls::nobodyAsksWhatIsRevoked_data()
{
    addColumns();
    // The server has the proof at hand, and its certificate demands that it be shown.
    accepted("revoked", {"revoked", {"-status_file", chainFile("revoked.ocsp")}});
}

void TestTls::sizes_data()
{
    addColumns();
    accepted("60 kB", {"large"});
    noHandshake("120 kB", {"too-large"}, Outcome::NoHandshakeWithAnyone);
}

void TestTls::signatures_data()
{
    addColumns();
    const Errors weak{QSslError::UnspecifiedError};
    refused("SHA-1", {"sha1"}, weak);
    refused("SHA-1 below the root", {"sha1-intermediate"}, weak);
    // A root is trusted for itself, not for its signature.
    accepted("SHA-1 of the root", under("under-sha1-root", "sha1-root"));
    refused("MD5", {"md5"}, weak);
    refused("MD5 below the root", {"md5-intermediate"}, weak);
}

void TestTls::keys_data()
{
    addColumns();
    const Errors weak{QSslError::UnspecifiedError};
    const QStringList tls12{"-tls1_2"};
    refused("RSA 512", {"rsa512", tls12}, weak);
    refused("RSA 512 of the issuer", {"rsa512-intermediate"}, weak);
    refused("RSA 1024", {"rsa1024"}, weak);
    refused("RSA 1024 of the issuer", {"rsa1024-intermediate"}, weak);
    refused("RSA 1024 of the root", under("under-rsa1024-root", "rsa1024-root"), weak);
    accepted("RSA 2048", {"rsa2048"});
    accepted("RSA 2048 of the issuer", {"rsa2048-intermediate"});
    accepted("Ed25519", {"ed25519"});
}

void TestTls::protocols_data()
{
    addColumns();
    noHandshake("TLS 1.0 only", {"direct", {"-tls1"}});
    noHandshake("TLS 1.1 only", {"direct", {"-tls1_1"}});
    accepted("TLS 1.2 only", {"direct", {"-tls1_2"}});
    accepted("TLS 1.3 only", {"direct", {"-tls1_3"}});
    noHandshake("no certificate", {"none", {"-nocert"}});
}

void TestTls::ciphers_data()
{
    addColumns();
    const auto with = [](const char *pCiphers, const QStringList &more = {}) {
        const QString strCiphers = QString(pCiphers) + ":@SECLEVEL=0";
        return Server{"rsa2048", QStringList{"-tls1_2", "-cipher", strCiphers} + more};
    };
    noHandshake("nothing is encrypted", with("eNULL"));
    noHandshake("anonymous", with("aNULL"));
    noHandshake("Diffie-Hellman of 1024 bits", with("DHE", {"-dhparam", chainFile("dh1024.pem")}));
    accepted("Diffie-Hellman of 2048 bits", with("DHE", {"-dhparam", chainFile("dh2048.pem")}));
    noHandshake("key exchange signed with SHA-1", with("ECDHE", {"-sigalgs", "RSA+SHA1"}));
    noHandshake("Camellia", with("CAMELLIA128-SHA"));
    accepted("CBC", with("ECDHE-RSA-AES128-SHA256"));
    accepted("CBC and SHA-1", with("ECDHE-RSA-AES128-SHA"));
    accepted("no forward secrecy", with("AES128-GCM-SHA256"));
    accepted("no forward secrecy, CBC and SHA-1", with("AES128-SHA"));
}

void TestTls::noTls_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("closed without a byte") << QByteArray();
    QTest::newRow("a reply in the clear")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\n{\"id\":1}");
    QTest::newRow("a redirect in the clear")
        << QByteArray("HTTP/1.1 302 Found\r\nLocation: http://localhost/\r\n\r\n");
    QTest::newRow("another protocol") << QByteArray("SSH-2.0-x\r\n");
    QTest::newRow("an alert") << QByteArray("\x15\x03\x03\x00\x02\x02\x28", 7);
    QTest::newRow("application data at once") << QByteArray("\x17\x03\x03\x00\x01\x00", 6);
    QTest::newRow("a record that is too long") << QByteArray("\x16\x03\x03\xff\xff", 5);
}

void TestTls::noTls()
{
    QFETCH(QByteArray, bytes);
    PlainServer server(bytes);
    setServicePort(server.serverPort());
    setExtraCaCertificates({testCa()});
    makeWindow();
    {
        BoxAnswers answers({QMessageBox::Ok});
        logIn();
        QVERIFY(isAnswered(answers));
        QCOMPARE(answers.seen().first().text, QString());
    }
    QVERIFY(server.m_baReceived.startsWith("\x16\x03")); // a handshake
    QVERIFY(!server.m_baReceived.contains(Password));
    windowGoesOn();
}

VELTRANO_TEST_MAIN(TestTls)
#include "tst_tls.moc"
