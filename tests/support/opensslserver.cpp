// The openssl program as a server, with a relay before it that listens and counts.

#include "opensslserver.h"

#include "windowtest.h"

#include <QFile>
#include <QHostAddress>
#include <QNetworkProxy>
#include <QTcpSocket>
#include <QTest>

namespace {
constexpr int StartMs = 10000;

QString pathOf(const QString &strFile)
{
    return QStringLiteral(TEST_CHAINS "/") + strFile;
}
} // namespace

OpenSslServer::OpenSslServer(const QString &strFiles, const QStringList &arguments)
{
    // Behind a socket in a folder: openssl says its port only together with much else.
    QStringList all{"s_server",   "-quiet",     "-naccept",
                    "1",          "-unix",      m_folder.filePath("socket"),
                    "-no-CAfile", "-no-CApath", "-no-CAstore"};
    if (!arguments.contains("-nocert"))
        all << "-cert" << pathOf(strFiles + ".pem") << "-key" << pathOf(strFiles + ".key");
    if (QFile::exists(pathOf(strFiles + ".chain")))
        all << "-cert_chain" << pathOf(strFiles + ".chain");
    // It is the client that is to refuse, not the server: level 0 lets everything pass.
    if (!arguments.contains("-cipher"))
        all << "-cipher"
            << "ALL:@SECLEVEL=0";
    m_process.start(OPENSSL_PROGRAM, all + arguments);
    reach();
    if (!listen(QHostAddress::LocalHost))
        qFatal("no free port: %s", qPrintable(errorString()));
}

OpenSslServer::~OpenSslServer()
{
    m_upstream.abort();
    m_process.kill();
    m_process.waitForFinished(StartMs);
}

void OpenSslServer::reachAs(const QString &strHost)
{
    m_baHost = strHost.toLatin1() + ':' + QByteArray::number(serverPort());
    setServiceHost(strHost, serverPort());
    if (strHost != "localhost" && QHostAddress(strHost).isNull()) {
        QNetworkProxy::setApplicationProxy(
            QNetworkProxy(QNetworkProxy::HttpProxy, "127.0.0.1", serverPort()));
    }
}

QByteArray OpenSslServer::decrypted()
{
    m_baDecrypted += m_process.readAllStandardOutput();
    return m_baDecrypted;
}

void OpenSslServer::reach()
{
    const auto reached = [this] {
        if (m_upstream.state() == QLocalSocket::UnconnectedState)
            m_upstream.connectToServer(m_folder.filePath("socket"));
        return m_upstream.state() == QLocalSocket::ConnectedState || hasEnded();
    };
    if (!QTest::qWaitFor(reached, StartMs) || hasEnded())
        qFatal("openssl does not serve: %s", m_process.readAllStandardError().constData());
    connect(&m_upstream, &QLocalSocket::disconnected, this, [this] {
        if (m_pClient)
            m_pClient->disconnectFromHost();
    });
    connect(&m_upstream, &QLocalSocket::readyRead, this, [this] {
        if (m_pClient)
            m_pClient->write(m_upstream.readAll());
    });
}

void OpenSslServer::incomingConnection(qintptr iDescriptor)
{
    ++m_iConnections;
    auto *pSocket = new QTcpSocket(this);
    pSocket->setSocketDescriptor(iDescriptor);
    if (m_pClient) {
        pSocket->abort(); // counted, and that is all that a second one comes to
        return;
    }
    m_pClient = pSocket;
    connect(pSocket, &QTcpSocket::readyRead, this, &OpenSslServer::takeFromClient);
    connect(pSocket, &QTcpSocket::disconnected, &m_upstream, &QLocalSocket::disconnectFromServer);
}

void OpenSslServer::takeFromClient()
{
    const QByteArray baBytes = m_pClient->readAll();
    if (!m_bProxyDone && (m_baProxyRequest + baBytes).startsWith("CONNECT " + m_baHost + ' ')) {
        m_baProxyRequest += baBytes;
        m_bProxyDone = m_baProxyRequest.endsWith("\r\n\r\n");
        if (m_bProxyDone)
            m_pClient->write("HTTP/1.1 200 Connected\r\n\r\n");
        return;
    }
    m_baEncrypted += baBytes;
    m_upstream.write(baBytes);
}
