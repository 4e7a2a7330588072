#ifndef TESTS_SUPPORT_SCRIPTEDSERVER_H
#define TESTS_SUPPORT_SCRIPTEDSERVER_H

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMetaType>
#include <QTcpServer>

#include <functional>

class QSslSocket;

/// A TLS server on a free port of localhost, in the test's own thread. It records every request as
/// the bytes that arrived and answers by script, one behaviour a path; a path without a script is
/// recorded and left open, to be answered by release().
class ScriptedServer : public QTcpServer
{
    Q_OBJECT

public:
    struct Request
    {
        QByteArray head; // request line and headers, with the blank line that ends them
        QByteArray body;

        QByteArray method() const;
        QByteArray path() const;   // without the query
        QByteArray target() const; // with the query, as it stands in the request line
        /// A header's value, the name as it was sent; a null array without such a header.
        QByteArray header(const QByteArray &baName) const;
    };
    using Behaviour = std::function<void(QSslSocket *pSocket)>;

    /// strCertificate names a pair of files of tests/support/make-certificates, without ending.
    explicit ScriptedServer(const QString &strCertificate = "trusted");

    /// From now on requests to the path are answered so; the newest script of a path counts.
    void script(const QByteArray &baPath, const Behaviour &behaviour);
    /// The same with a reply of status 200 that carries the body and its length.
    void answer(const QByteArray &baPath, const QByteArray &baBody);
    /// Answers the oldest request to the path that is still open; false if there is none.
    bool release(const QByteArray &baPath, const Behaviour &behaviour);
    bool release(const QByteArray &baPath, const QByteArray &baBody);

    const QList<Request> &requests() const { return m_requests; }
    /// The requests to one path, in the order of their arrival.
    QList<Request> requestsTo(const QByteArray &baPath) const;
    /// A test of many requests would keep them all otherwise.
    void forgetRequests() { m_requests.clear(); }
    /// Decrypted bytes of all connections: 0 as long as no handshake was accepted.
    qint64 bytesReceived() const { return m_iBytesReceived; }
    int connections() const { return m_iConnections; }
    /// Closes every connection that is idle or waiting, as a server does after its time-out.
    void closeConnections();

    // Behaviours
    static Behaviour reply(const QByteArray &baBody, const QByteArray &baStatus = "200 OK",
                           const QByteArray &baHeaders = QByteArray());
    /// Closes without a byte.
    static Behaviour closeAtOnce();
    /// Sends these bytes and closes.
    static Behaviour sendAndClose(const QByteArray &baBytes);

signals:
    void received();

protected:
    void incomingConnection(qintptr iDescriptor) override;

private:
    struct Waiting
    {
        QByteArray path;
        QSslSocket *pSocket;
    };

    void readFrom(QSslSocket *pSocket);
    void forget(QSslSocket *pSocket);

    QString m_strCertificate;
    QHash<QByteArray, Behaviour> m_behaviours;
    QHash<QSslSocket *, QByteArray> m_unread;
    QList<Request> m_requests;
    QList<Waiting> m_waiting;
    qint64 m_iBytesReceived = 0;
    int m_iConnections = 0;
};

Q_DECLARE_METATYPE(ScriptedServer::Behaviour)

#endif // TESTS_SUPPORT_SCRIPTEDSERVER_H
