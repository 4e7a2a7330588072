// The bytes of a server's answers, from the socket through the framework's reading of HTTP to the
// window's slots. They travel without TLS, which changes nothing above it and would take most of
// the time; all else is as the window does it: its own network manager, its slots, its connections.
//
// The first byte of an input is read as fuzz_replies reads it. Answers follow, with AnswerMark
// between them: each is for one connection or, where it leaves its connection usable, for one
// request of several on it. SegmentMark is where one write ends and the next begins.

#include "fuzzedwindow.h"
#include "options.h"
#include "target.h"
#include "windowstate.h"

#include <QByteArrayList>
#include <QCoreApplication>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace {
constexpr int InputsPerWindow = 500;
constexpr int MostRequests = 3;
constexpr int ReplyMs = 60000;
const char *const AnswerMark = "\x1e\x1e";
const char *const SegmentMark = "\x1f\x1f";

QByteArrayList split(QByteArray baBytes, const QByteArray &baMark)
{
    QByteArrayList parts;
    for (int iMark = baBytes.indexOf(baMark); iMark >= 0; iMark = baBytes.indexOf(baMark)) {
        parts << baBytes.left(iMark);
        baBytes.remove(0, iMark + baMark.size());
    }
    return parts << baBytes;
}

/// Answers each request with the next of its answers, whatever is asked for.
class AnsweringServer : public QTcpServer
{
    Q_OBJECT

public:
    AnsweringServer()
    {
        mustHold(listen(QHostAddress::LocalHost), "there is a free port");
        connect(this, SIGNAL(newConnection()), this, SLOT(onConnection()));
    }

    void setAnswers(const QByteArrayList &answers) { m_answers = answers; }
    bool hasAnswers() const { return !m_answers.isEmpty(); }

private slots:
    void onConnection()
    {
        while (QTcpSocket *pSocket = nextPendingConnection()) {
            connect(pSocket, SIGNAL(readyRead()), this, SLOT(onRequest()));
            connect(pSocket, SIGNAL(disconnected()), pSocket, SLOT(deleteLater()));
        }
    }
    void onRequest()
    {
        auto *pSocket = qobject_cast<QTcpSocket *>(sender());
        if (!pSocket->peek(pSocket->bytesAvailable()).contains("\r\n\r\n"))
            return;
        pSocket->readAll();
        const QByteArray baAnswer = m_answers.isEmpty() ? QByteArray() : m_answers.takeFirst();
        const QByteArrayList segments = split(baAnswer, SegmentMark);
        for (const QByteArray &baSegment : segments) {
            if (!pSocket->isOpen())
                return; // the client has seen enough
            pSocket->write(baSegment);
            pSocket->flush();
        }
        // Closed, it is an end to everything; the client waits for the rest of an answer for good.
        if (!isWhole(segments.join()))
            pSocket->disconnectFromHost();
    }

private:
    /// Of the plain kind only: a length, no other header, and as many bytes as that or more.
    static bool isWhole(const QByteArray &baAnswer)
    {
        static const QRegularExpression head(
            "\\AHTTP/1\\.1 200 OK\r\nContent-Length: ([0-9]{1,6})\r\n\r\n");
        const QRegularExpressionMatch match = head.match(QString::fromLatin1(baAnswer));
        return match.hasMatch() &&
               baAnswer.size() - match.capturedLength() >= match.captured(1).toInt();
    }

    QByteArrayList m_answers;
};

FuzzedWindow *g_pWindow = nullptr;
AnsweringServer *g_pServer = nullptr;

/// The window, which knows nothing of the inputs before.
FuzzedWindow &usedWindow()
{
    static int iInputs = 0;
    if (iInputs++ % InputsPerWindow == 0) {
        delete g_pWindow;
        g_pWindow = new FuzzedWindow;
    }
    g_pWindow->network()->clearAccessCache(); // and the connections
    g_pWindow->network()->setCookieJar(new QNetworkCookieJar);
    return *g_pWindow;
}

void waitUntilIdle(const FuzzedWindow &window)
{
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(ReplyMs);
    while (!window.isIdle()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        mustHold(limit.isActive(), "a reply ends when its connection does");
    }
}

void exchange(FuzzedWindow &window, const InputOptions &options)
{
    const QUrl url("http://127.0.0.1:" + QString::number(g_pServer->serverPort()) + "/x");
    const WindowState before = WindowState::of(window);
    window.dialogs()->expect(options.answer);
    QNetworkReply *pReply = window.network()->get(QNetworkRequest(url));
    QByteArray baBody;
    int iFinished = 0;
    QObject::connect(pReply, &QNetworkReply::finished, pReply, [&] {
        baBody = pReply->peek(pReply->bytesAvailable());
        ++iFinished;
    });
    QObject::connect(pReply, SIGNAL(finished()), window.window(), slotOf(options.kind));
    if (showsProgress(options.kind)) {
        // clang-format off
        QObject::connect(pReply, SIGNAL(downloadProgress(qint64,qint64)),
                         window.window(), SLOT(onUploadProgress(qint64,qint64)));
        // clang-format on
    }
    waitUntilIdle(window);
    mustHold(iFinished == 1, "a reply finishes once");
    checkReplyAndFailures(options.kind, baBody, options.answer, before, window,
                          {window.dialogs()->seen(), window.takeRequests()});
    window.giveUpReplies();
}
} // namespace

int LLVMFuzzerInitialize(int *pCount, char ***pArguments)
{
    prepareWindows(*pCount, *pArguments);
    g_pServer = new AnsweringServer;
    return 0;
}

void endTarget()
{
    delete g_pWindow;
    delete g_pServer;
    endWindows();
}

int LLVMFuzzerTestOneInput(const std::uint8_t *pData, std::size_t iSize)
{
    if (iSize == 0)
        return 0;
    const InputOptions options(pData[0]);
    FuzzedWindow &window = usedWindow();
    window.logOut();
    if (options.bFilled)
        window.fill();
    const QByteArray baAnswers(reinterpret_cast<const char *>(pData) + 1,
                               static_cast<int>(iSize) - 1);
    g_pServer->setAnswers(split(baAnswers, AnswerMark));
    for (int i = 0; i < MostRequests && g_pServer->hasAnswers(); ++i)
        exchange(window, options);
    return 0;
}

#include "fuzz_exchanges.moc"
