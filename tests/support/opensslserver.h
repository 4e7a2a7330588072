#ifndef TESTS_SUPPORT_OPENSSLSERVER_H
#define TESTS_SUPPORT_OPENSSLSERVER_H

#include <QByteArray>
#include <QLocalSocket>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>

class QTcpSocket;

/// The openssl program as a server of one connection, on a free port of localhost. Unlike the
/// framework's sockets it shows any certificate and speaks protocols that are long broken. The
/// connection goes through this object, which sees the encrypted bytes; it takes the place of a
/// proxy, too, so that a client reaches it under any name.
class OpenSslServer : public QTcpServer
{
    Q_OBJECT

public:
    /// strFiles names the files of tests/support/make-chains, without ending. The arguments go to
    /// openssl behind those that every server has.
    OpenSslServer(const QString &strFiles, const QStringList &arguments);
    ~OpenSslServer() override;

    /// The client's requests go here from now on. A host that no file of the system knows is
    /// reached through this server as the application's proxy.
    void reachAs(const QString &strHost);
    /// As it stands in the header of a request.
    QByteArray host() const { return m_baHost; }

    int connections() const { return m_iConnections; }
    /// What came from the client as it stood on the wire, without the request to the proxy.
    QByteArray encrypted() const { return m_baEncrypted; }
    /// What openssl decrypted; all of it once the server has ended.
    QByteArray decrypted();
    void answer(const QByteArray &baBytes) { m_process.write(baBytes); }
    /// Whether openssl is through with its connection, and so has decrypted all there was.
    bool hasEnded() const { return m_process.state() == QProcess::NotRunning; }

protected:
    void incomingConnection(qintptr iDescriptor) override;

private:
    void reach();
    void takeFromClient();

    QTemporaryDir m_folder;
    QProcess m_process;
    QLocalSocket m_upstream;
    QTcpSocket *m_pClient = nullptr;
    QByteArray m_baHost;
    QByteArray m_baProxyRequest;
    bool m_bProxyDone = false;
    QByteArray m_baEncrypted;
    QByteArray m_baDecrypted;
    int m_iConnections = 0;
};

#endif // TESTS_SUPPORT_OPENSSLSERVER_H
