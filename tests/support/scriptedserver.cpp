// A TLS server that records requests raw and answers as the test has told it.

#include "scriptedserver.h"

#include <QDebug>
#include <QFile>
#include <QHostAddress>
#include <QSslKey>
#include <QSslSocket>

namespace {
QByteArray contents(const QString &strName)
{
    QFile file(QStringLiteral(TEST_CERTIFICATES "/") + strName);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no test certificate %s", qPrintable(file.fileName()));
    return file.readAll();
}
} // namespace

QByteArray ScriptedServer::Request::method() const
{
    return head.left(head.indexOf(' '));
}

QByteArray ScriptedServer::Request::target() const
{
    return head.split(' ').value(1);
}

QByteArray ScriptedServer::Request::path() const
{
    return target().split('?').first();
}

QByteArray ScriptedServer::Request::header(const QByteArray &baName) const
{
    const QByteArray baStart = "\r\n" + baName + ": ";
    const int iStart = head.indexOf(baStart);
    if (iStart < 0)
        return {};
    const int iValue = iStart + baStart.size();
    return head.mid(iValue, head.indexOf("\r\n", iValue) - iValue);
}

ScriptedServer::ScriptedServer(const QString &strCertificate) : m_strCertificate(strCertificate)
{
    if (!listen(QHostAddress::LocalHost))
        qFatal("no free port: %s", qPrintable(errorString()));
}

void ScriptedServer::script(const QByteArray &baPath, const Behaviour &behaviour)
{
    m_behaviours.insert(baPath, behaviour);
}

void ScriptedServer::answer(const QByteArray &baPath, const QByteArray &baBody)
{
    script(baPath, reply(baBody));
}

bool ScriptedServer::release(const QByteArray &baPath, const Behaviour &behaviour)
{
    for (int i = 0; i < m_waiting.size(); ++i) {
        if (m_waiting.at(i).path == baPath) {
            behaviour(m_waiting.takeAt(i).pSocket);
            return true;
        }
    }
    return false;
}

bool ScriptedServer::release(const QByteArray &baPath, const QByteArray &baBody)
{
    return release(baPath, reply(baBody));
}

QList<ScriptedServer::Request> ScriptedServer::requestsTo(const QByteArray &baPath) const
{
    QList<Request> found;
    for (const Request &request : m_requests) {
        if (request.path() == baPath)
            found << request;
    }
    return found;
}

void ScriptedServer::closeConnections()
{
    const QList<QSslSocket *> sockets = m_unread.keys();
    for (QSslSocket *pSocket : sockets)
        pSocket->disconnectFromHost();
}

ScriptedServer::Behaviour ScriptedServer::reply(const QByteArray &baBody,
                                                const QByteArray &baStatus,
                                                const QByteArray &baHeaders)
{
    return [=](QSslSocket *pSocket) {
        pSocket->write("HTTP/1.1 " + baStatus + "\r\nContent-Length: " +
                       QByteArray::number(baBody.size()) + "\r\n" + baHeaders + "\r\n" + baBody);
    };
}

ScriptedServer::Behaviour ScriptedServer::closeAtOnce()
{
    return sendAndClose({});
}

ScriptedServer::Behaviour ScriptedServer::sendAndClose(const QByteArray &baBytes)
{
    return [=](QSslSocket *pSocket) {
        pSocket->write(baBytes);
        pSocket->disconnectFromHost();
    };
}

void ScriptedServer::incomingConnection(qintptr iDescriptor)
{
    auto *pSocket = new QSslSocket(this);
    pSocket->setSocketDescriptor(iDescriptor);
    pSocket->setLocalCertificate(QSslCertificate(contents(m_strCertificate + ".pem")));
    pSocket->setPrivateKey(QSslKey(contents(m_strCertificate + ".key"), QSsl::Ec));
    m_unread.insert(pSocket, QByteArray());
    ++m_iConnections;
    connect(pSocket, &QSslSocket::readyRead, this, [=] { readFrom(pSocket); });
    connect(pSocket, &QSslSocket::disconnected, this, [=] { forget(pSocket); });
    pSocket->startServerEncryption();
}

void ScriptedServer::readFrom(QSslSocket *pSocket)
{
    const QByteArray baChunk = pSocket->readAll();
    m_iBytesReceived += baChunk.size();
    QByteArray &baUnread = m_unread[pSocket];
    baUnread += baChunk;

    Request request;
    const int iHeadSize = baUnread.indexOf("\r\n\r\n") + 4;
    if (iHeadSize < 4)
        return;
    request.head = baUnread.left(iHeadSize);
    const int iBodySize = request.header("Content-Length").toInt();
    if (baUnread.size() < iHeadSize + iBodySize)
        return;
    request.body = baUnread.mid(iHeadSize, iBodySize);
    // The client does not pipeline: what follows would be a fault, and shows as a strange request.
    baUnread.remove(0, iHeadSize + iBodySize);

    m_requests << request;
    if (m_behaviours.contains(request.path()))
        m_behaviours.value(request.path())(pSocket);
    else
        m_waiting << Waiting{request.path(), pSocket};
    emit received();
}

void ScriptedServer::forget(QSslSocket *pSocket)
{
    m_unread.remove(pSocket);
    for (int i = m_waiting.size() - 1; i >= 0; --i) {
        if (m_waiting.at(i).pSocket == pSocket)
            m_waiting.removeAt(i);
    }
    pSocket->deleteLater();
}
