// What all requests and replies have in common: bytes on the wire, posts that leave once, replies
// that come in every broken form, the progress bar.

#include "servedtest.h"

#include "service/oneshotbody.h"
#include "service/reply.h"
#include "service/request.h"

#include <QAbstractButton>
#include <QBuffer>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslSocket>
#include <QUrl>
#include <QUrlQuery>

namespace {
const char *const OneGroup = R"({"rcode":0,"groups":[{"id":"12","group_name":"Club A"}]})";

QByteArray response(const QByteArray &baHeaders, const QByteArray &baBody)
{
    return "HTTP/1.1 " + baHeaders + "\r\n\r\n" + baBody;
}
/// How many sockets of this machine are still open towards the port, those included that the other
/// side has closed.
int connectionsOpenTo(quint16 iPort)
{
    constexpr int RemoteColumn = 2;
    constexpr int StateColumn = 3;
    const QByteArray baPort = ':' + QByteArray::number(iPort, 16).rightJustified(4, '0').toUpper();
    QFile table("/proc/net/tcp");
    table.open(QIODevice::ReadOnly);
    int iOpen = 0;
    const QList<QByteArray> lines = table.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> columns = line.simplified().split(' ');
        const QByteArray baState = columns.value(StateColumn);
        if (columns.value(RemoteColumn).endsWith(baPort) && (baState == "01" || baState == "08"))
            ++iOpen; // established, or waiting for this side to close
    }
    return iOpen;
}

/// Only opens what the framework calls.
class ProtectedBody : public OneShotBody
{
public:
    using OneShotBody::OneShotBody;
    using OneShotBody::readData;
    using OneShotBody::writeData;
};
} // namespace

class TestRequests : public ServedTest
{
    Q_OBJECT

private slots:
    void address();
    void formRequestHeader();
    void queryRequestItems();
    void formBodies_data();
    void formBodies();
    void replyObjects_data();
    void replyObjects();
    void bodyIsReadOnce();
    void bodyIsReadInPieces();
    void bodyEnds();
    void bodiesAroundAPiece_data();
    void bodiesAroundAPiece();

    void plainGetBytes();
    void queryGetBytes();
    void groupIdBytes_data();
    void groupIdBytes();

    void postLeavesOnce_data();
    void postLeavesOnce();
    void postAfterServerClosedIdleConnection();

    void replyIsDeleted_data();
    void replyIsDeleted();
    void refusedPort();
    void wellPackedReply();
    void overlappingRequests();
    void windowDestroyedWithRepliesUnderWay();
    void resultWithoutReply_data();
    void resultWithoutReply();

    void progress_data();
    void progress();
    void downloadDrivesProgress();
    void chunkedDownloadDragsMinimum();
};

void TestRequests::address()
{
    setServicePort(18443);
    const QUrl address("https://localhost:18443/bslogin.php");
    QCOMPARE(formRequest("/bslogin.php").url(), address);
    QCOMPARE(queryRequest("/bslogin.php", QUrlQuery()).url().adjusted(QUrl::RemoveQuery), address);
}

void TestRequests::formRequestHeader()
{
    const QNetworkRequest request = formRequest("/bslogin.php");
    QCOMPARE(request.rawHeaderList(), QList<QByteArray>{"Content-Type"});
    QCOMPARE(request.rawHeader("Content-Type"), QByteArray("application/x-www-form-urlencoded"));
}

void TestRequests::queryRequestItems()
{
    QUrlQuery items;
    items.addQueryItem("fx", "getInfo");
    items.addQueryItem("SN", "A&B");
    const QNetworkRequest request = queryRequest("/info.php", items);
    QCOMPARE(request.url().query(QUrl::FullyEncoded), QString("fx=getInfo&SN=A%26B"));
    QCOMPARE(request.rawHeaderList(), QList<QByteArray>());
}

void TestRequests::formBodies_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty") << "" << QByteArray("posted=&next=1");
    QTest::newRow("blank") << "a b" << QByteArray("posted=a b&next=1");
    QTest::newRow("plus") << "a+b" << QByteArray("posted=a+b&next=1");
    QTest::newRow("line feed and tab") << "a\n\tb" << QByteArray("posted=a%0A%09b&next=1");
    QTest::newRow("control and delete")
        << QString(QChar(1)) + QChar(127) << QByteArray("posted=%01%7F&next=1");
    QTest::newRow("JSON") << R"([{"a": "b"}])"
                          << QByteArray("posted=[%7B%22a%22: %22b%22%7D]&next=1");
    QTest::newRow("beyond the basic plane")
        << QString::fromUtf8("🛰") << QByteArray("posted=🛰&next=1");
    QTest::newRow("incomplete percent sequence") << "%4" << QByteArray("posted=%254&next=1");
    QTest::newRow("lower-case percent sequence") << "%2b" << QByteArray("posted=%2B&next=1");
}

void TestRequests::formBodies()
{
    QFETCH(QString, value);
    QFETCH(QByteArray, body);
    QUrlQuery items;
    items.addQueryItem("posted", value);
    items.addQueryItem("next", "1");
    QCOMPARE(formBody(items), body);
}

void TestRequests::replyObjects_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("keys");
    QTest::newRow("object") << QByteArray(R"({"b":1,"a":2})") << QStringList({"a", "b"});
    QTest::newRow("byte order mark") << QByteArray("\xEF\xBB\xBF{\"a\":1}") << QStringList("a");
    QTest::newRow("empty") << QByteArray() << QStringList();
    QTest::newRow("array") << QByteArray(R"([{"a":1}])") << QStringList();
    QTest::newRow("text") << QByteArray(R"("a")") << QStringList();
    QTest::newRow("null") << QByteArray("null") << QStringList();
    QTest::newRow("page") << QByteArray("<html>") << QStringList();
    QTest::newRow("cut") << QByteArray(R"({"a":1,"b":)") << QStringList();
    QTest::newRow("more after the end") << QByteArray(R"({"a":1} x)") << QStringList();
    QTest::newRow("not UTF-8") << QByteArray("{\"a\":\"\xFF\"}") << QStringList();
    QTest::newRow("nested too deep")
        << "{\"a\":" + QByteArray(2000, '[') + QByteArray(2000, ']') + "}" << QStringList();
}

void TestRequests::replyObjects()
{
    QFETCH(QByteArray, body);
    QFETCH(QStringList, keys);
    QCOMPARE(replyObject(body).keys(), keys);
}

void TestRequests::bodyIsReadOnce()
{
    OneShotBody body("posted");
    QCOMPARE(body.openMode(), QIODevice::ReadOnly | QIODevice::Unbuffered);
    QCOMPARE(body.size(), qint64(6));
    QVERIFY(!body.isSequential());
    QVERIFY(!qobject_cast<QBuffer *>(&body)); // a buffer would be copied and sent again
    QVERIFY(!body.reset());
    QCOMPARE(body.readAll(), QByteArray("posted"));
    QVERIFY(body.atEnd());
    QVERIFY(!body.reset());
    QCOMPARE(body.readAll(), QByteArray());
}

void TestRequests::bodyIsReadInPieces()
{
    OneShotBody body(QByteArray("a\0bcdef", 7));
    char buffer[4] = {};
    QCOMPARE(body.read(buffer, 4), qint64(4));
    QCOMPARE(QByteArray(buffer, 4), QByteArray("a\0bc", 4));
    QCOMPARE(body.pos(), qint64(4));
    QCOMPARE(body.read(buffer, 4), qint64(3));
    QCOMPARE(QByteArray(buffer, 3), QByteArray("def"));
    QCOMPARE(body.read(buffer, 4), qint64(-1));
    QCOMPARE(OneShotBody(QByteArray()).size(), qint64(0));
}

void TestRequests::bodyEnds()
{
    ProtectedBody body("abc");
    char buffer[4] = {};
    QCOMPARE(body.readData(buffer, 0), qint64(0));
    QCOMPARE(body.read(buffer, 4), qint64(3));
    QCOMPARE(body.readData(buffer, 1), qint64(-1));
    QCOMPARE(body.readData(buffer, 0), qint64(0)); // who asks for nothing is not told of the end
    QCOMPARE(body.writeData(buffer, 1), qint64(-1));
}

void TestRequests::bodiesAroundAPiece_data()
{
    QTest::addColumn<int>("size");
    // The framework asks for 16,384 bytes at a time.
    QTest::newRow("one byte") << 1;
    QTest::newRow("a byte less than a piece") << 16383;
    QTest::newRow("a piece") << 16384;
    QTest::newRow("a piece and a byte") << 16385;
    QTest::newRow("two pieces") << 32768;
    QTest::newRow("two pieces and a byte") << 32769;
    QTest::newRow("64 pieces") << 1024 * 1024;
    QTest::newRow("64 pieces and a byte") << 1024 * 1024 + 1;
}

void TestRequests::bodiesAroundAPiece()
{
    QFETCH(int, size);
    QByteArray baBody;
    while (baBody.size() < size)
        baBody += QByteArray::number(baBody.size()) + ' '; // no two places look alike
    baBody.truncate(size);
    server()->answer("/upload", "arrived");
    QNetworkReply *pReply =
        postOnce(window()->findChild<QNetworkAccessManager *>(), formRequest("/upload"), baBody);
    QTRY_VERIFY(pReply->isFinished());
    QCOMPARE(pReply->readAll(), QByteArray("arrived"));
    QCOMPARE(server()->requests().size(), 1);
    const ScriptedServer::Request request = server()->requests().first();
    QCOMPARE(request.header("Content-Length"), QByteArray::number(size));
    QVERIFY(request.body == baBody); // too long to be shown
    QCOMPARE(server()->bytesReceived(), qint64(request.head.size() + size));
}

void TestRequests::plainGetBytes()
{
    click("buttonRefresh");
    QTRY_COMPARE(server()->requests().size(), 1);
    // Without a body, but with a form's type.
    QByteArray baExpected = expectedGet("/bsGetMyGroups.php");
    baExpected.replace("Connection:",
                       "Content-Type: application/x-www-form-urlencoded\r\nConnection:");
    QCOMPARE(onlyRequest("/bsGetMyGroups.php"), baExpected);
}

void TestRequests::queryGetBytes()
{
    combo()->addItem("12 - Club A", "12");
    QTRY_COMPARE(server()->requests().size(), 1);
    QCOMPARE(onlyRequest(TrackersPath), expectedGet("/bsGetGroupTrackers.php?idgroup=12"));
}

void TestRequests::groupIdBytes_data()
{
    QTest::addColumn<QVariant>("id");
    QTest::addColumn<QByteArray>("target");
    const QByteArray baStart = "/bsGetGroupTrackers.php?idgroup=";
    QTest::newRow("number") << QVariant(12.0) << baStart + "12";
    QTest::newRow("empty text") << QVariant("") << baStart;
    // A null text makes a key without an equals sign; a form decoder reads both the same.
    QTest::newRow("nothing") << QVariant() << QByteArray("/bsGetGroupTrackers.php?idgroup");
    QTest::newRow("delimiters") << QVariant("a&b=c#d") << baStart + "a%26b%3Dc%23d";
    QTest::newRow("blank and plus") << QVariant("a b+c") << baStart + "a%20b+c";
    QTest::newRow("non-ASCII") << QVariant(QString::fromUtf8("é")) << baStart + "%C3%A9";
}

void TestRequests::groupIdBytes()
{
    QFETCH(QVariant, id);
    QFETCH(QByteArray, target);
    combo()->addItem("a group", id);
    QTRY_COMPARE(server()->requests().size(), 1);
    QCOMPARE(server()->requests().first().target(), target);
}

void TestRequests::postLeavesOnce_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("closed without a byte") << QByteArray();
    QTest::newRow("half a status line") << QByteArray("HTTP/1.");
    QTest::newRow("status line without its end") << QByteArray("HTTP/1.1 200 OK");
    QTest::newRow("head without its end") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n");
    QTest::newRow("cut body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{");
}

void TestRequests::postLeavesOnce()
{
    QFETCH(QByteArray, bytes);
    BoxAnswers answers({QMessageBox::Ok});
    server()->script("/bslogin.php", ScriptedServer::sendAndClose(bytes));
    click("loginButton");
    QTRY_COMPARE(answers.seen().size(), 1);
    // Whatever was sent again would have come before a request that starts now.
    click("buttonRefresh");
    QTRY_COMPARE(server()->requestsTo("/bsGetMyGroups.php").size(), 1);
    QCOMPARE(server()->requestsTo("/bslogin.php").size(), 1);
    QTRY_COMPARE(replies(), 1); // the refresh, still open
}

void TestRequests::postAfterServerClosedIdleConnection()
{
    if (!QFile::exists("/proc/net/tcp"))
        QSKIP("this system does not list its connections", ); // clang wants the second argument
    server()->answer("/bsGetMyGroups.php", "{}");
    click("buttonRefresh");
    QTRY_COMPARE(replies(), 0);
    QVERIFY(connectionsOpenTo(server()->serverPort()) > 0);
    server()->closeConnections();
    QTRY_COMPARE(connectionsOpenTo(server()->serverPort()), 0);

    BoxAnswers answers({QMessageBox::Ok});
    click("loginButton");
    QTRY_COMPARE(server()->requestsTo("/bslogin.php").size(), 1);
    QVERIFY(server()->release("/bslogin.php", R"({"id":0,"msg":"arrived"})"));
    QTRY_COMPARE(answers.seen().size(), 1);
    QCOMPARE(answers.seen().first().text, QString("arrived"));
    QCOMPARE(server()->requestsTo("/bslogin.php").size(), 1);
}

void TestRequests::replyIsDeleted_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("close");
    QTest::addColumn<int>("groups");
    const QByteArray baLength = "Content-Length: " + QByteArray::number(qstrlen(OneGroup));
    QTest::newRow("kept alive") << response("200 OK\r\n" + baLength, OneGroup) << false << 1;
    QTest::newRow("closed behind the body")
        << response("200 OK\r\nConnection: close\r\n" + baLength, OneGroup) << true << 1;
    QTest::newRow("no length") << response("200 OK\r\nConnection: close", OneGroup) << true << 1;
    QTest::newRow("chunked") << response("200 OK\r\nTransfer-Encoding: chunked",
                                         "2\r\n{}\r\n0\r\n\r\n")
                             << false << 0;
    QTest::newRow("cut chunk") << response("200 OK\r\nTransfer-Encoding: chunked", "ff\r\n{\"g")
                               << true << 0;
    QTest::newRow("cut body") << response("200 OK\r\nContent-Length: 999", OneGroup) << true << 1;
    QTest::newRow("empty") << response("200 OK\r\nContent-Length: 0", "") << false << 0;
    QTest::newRow("not JSON") << response("200 OK\r\nContent-Length: 4", "oops") << false << 0;
    // The status is never looked at: what parses counts.
    QTest::newRow("500") << response("500 Oh\r\n" + baLength, OneGroup) << false << 1;
    QTest::newRow("401") << response("401 No\r\nWWW-Authenticate: Basic realm=\"x\"\r\n" + baLength,
                                     OneGroup)
                         << false << 1;
    QTest::newRow("407") << response("407 No\r\n" + baLength, OneGroup) << false << 1;
    QTest::newRow("404") << response("404 No\r\n" + baLength, OneGroup) << false << 1;
    QTest::newRow("302") << response("302 Found\r\nLocation: /bslogin.php\r\n" + baLength, OneGroup)
                         << false << 1;
    QTest::newRow("204") << response("204 No Content", "") << false << 0;
    QTest::newRow("broken gzip")
        << response("200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 4", "oops") << false << 0;
    QTest::newRow("no HTTP at all") << QByteArray("SSH-2.0-x\r\n") << true << 0;
}

void TestRequests::replyIsDeleted()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, close);
    QFETCH(int, groups);
    server()->script("/bsGetMyGroups.php", [=](QSslSocket *pSocket) {
        pSocket->write(bytes);
        if (close)
            pSocket->disconnectFromHost();
    });
    combo()->addItem("old", QVariant());
    QTRY_COMPARE(server()->requests().size(), 1); // the old group's trackers, left open
    click("buttonRefresh");
    QTRY_VERIFY(combo()->findText("old") < 0);
    QCOMPARE(combo()->count(), groups);
    QCOMPARE(replies(), 1 + groups); // only the requests for trackers are left
    QCOMPARE(server()->requestsTo("/bslogin.php").size(), 0);
}

void TestRequests::refusedPort()
{
    server()->close();
    combo()->addItem("old", QVariant());
    QTRY_COMPARE(replies(), 0);
    QCOMPARE(shownText("numberTrackers"), QString("(0)"));
    click("buttonRefresh");
    QTRY_COMPARE(combo()->count(), 0);
    QCOMPARE(replies(), 0);
}

void TestRequests::wellPackedReply()
{
    // Lists repeat themselves: one of many trackers is packed to a small part of its size.
    constexpr int Blanks = 12 * 1024 * 1024;
    constexpr int LengthBytes = 4; // what the framework's own form of a packed text begins with
    const QByteArray baPacked = qCompress(OneGroup + QByteArray(Blanks, ' ')).mid(LengthBytes);
    QVERIFY(baPacked.size() < Blanks / 100);
    server()->script("/bsGetMyGroups.php",
                     ScriptedServer::reply(baPacked, "200 OK", "Content-Encoding: deflate\r\n"));
    click("buttonRefresh");
    QTRY_COMPARE(combo()->itemText(0), QString("12 - Club A"));
}

void TestRequests::overlappingRequests()
{
    constexpr int Count = 20;
    server()->answer("/bsGetMyGroups.php", "{}");
    for (int i = 0; i < Count; ++i)
        click("buttonRefresh");
    QCOMPARE(replies(), Count);
    QTRY_COMPARE(replies(), 0);
    QCOMPARE(server()->requests().size(), Count);
}

void TestRequests::windowDestroyedWithRepliesUnderWay()
{
    click("loginButton");
    click("buttonRefresh");
    combo()->addItem("a group", "12");
    QTRY_COMPARE(server()->requests().size(), 3);
    QPointer<QNetworkAccessManager> pManager = window()->findChild<QNetworkAccessManager *>();
    QCOMPARE(replies(), 3);
    destroyWindow();
    QVERIFY(pManager.isNull());
    server()->release("/bslogin.php", R"({"id":1})"); // to nobody
    QTRY_VERIFY(server()->findChildren<QSslSocket *>().isEmpty());
}

void TestRequests::resultWithoutReply_data()
{
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("onLoginResult") << QStringList();
    QTest::newRow("onGetGroupsResult") << QStringList();
    QTest::newRow("onGetTrackersResult") << QStringList();
    QTest::newRow("onDoneActivations") << QStringList("Done"); // said before the reply is taken
    QTest::newRow("onGotTrackerDetail") << QStringList();
    QTest::newRow("onSavedTrackerDetail") << QStringList();
}

/// Called by hand, or by something that is no reply: neither leads anywhere.
void TestRequests::resultWithoutReply()
{
    QFETCH(QStringList, lines);
    const QByteArray baSlot = QTest::currentDataTag();
    server()->answer(TrackersPath, R"({"balance":"4","trackers":[{"deviceSn":"1000001"}]})");
    combo()->addItem("12 - Club A", "12");
    QTRY_COMPARE(shownText("numberTrackers"), QString("(1)"));
    QTRY_COMPARE(replies(), 0);
    bar()->show(); // as while something is under way
    widget<QAbstractButton>("loginButton")->setEnabled(false);
    const QStringList before = windowState();
    BoxAnswers answers({});
    clearInfoLog();

    QVERIFY(QMetaObject::invokeMethod(window(), baSlot.constData()));
    QCOMPARE(windowState(), before);
    QCOMPARE(infoLog(), lines);

    QObject stranger;
    connect(&stranger, SIGNAL(objectNameChanged(QString)), window(),
                              QByteArray('1' + baSlot + "()").constData());
    stranger.setObjectName("a stranger");
    QCOMPARE(windowState(), before);
    QCOMPARE(infoLog(), lines + lines);

    QCOMPARE(replies(), 0); // nothing was sent
    QCOMPARE(answers.seen(), QList<SeenBox>());
}

void TestRequests::progress_data()
{
    QTest::addColumn<qint64>("sent");
    QTest::addColumn<qint64>("total");
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("minimum");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<int>("value");
    QTest::newRow("half way") << qint64(5) << qint64(10) << "5 : 10" << 0 << 10 << 5;
    QTest::newRow("done") << qint64(10) << qint64(10) << "10 : 10" << 0 << 10 << 10;
    // The bar refuses a value above its range and keeps the one it had.
    QTest::newRow("beyond") << qint64(11) << qint64(10) << "11 : 10" << 0 << 10 << -1;
    QTest::newRow("end of an upload") << qint64(0) << qint64(0) << "0 : 0" << 0 << 0 << 0;
    QTest::newRow("unknown total") << qint64(7) << qint64(-1) << "7 : -1" << -1 << -1 << -2;
    QTest::newRow("narrowed to int")
        << qint64(4294967299) << qint64(4294967306) << "4294967299 : 4294967306" << 0 << 10 << 3;
}

void TestRequests::progress()
{
    QFETCH(qint64, sent);
    QFETCH(qint64, total);
    QVERIFY(QMetaObject::invokeMethod(window(), "onUploadProgress", Q_ARG(qint64, sent),
                                      Q_ARG(qint64, total)));
    QTEST(infoLog().join("\n"), "line");
    auto *pBar = bar();
    QTEST(pBar->minimum(), "minimum");
    QTEST(pBar->maximum(), "maximum");
    QTEST(pBar->value(), "value");
    QVERIFY(pBar->isHidden()); // reports alone do not show it
}

void TestRequests::downloadDrivesProgress()
{
    server()->answer(TrackersPath, R"({"rcode":0,"trackers":[]})");
    combo()->addItem("a group", "12");
    QVERIFY(!bar()->isHidden());
    QTRY_COMPARE(shownText("numberTrackers"), QString("(0)"));
    QCOMPARE(bar()->maximum(), 25);
    QCOMPARE(bar()->value(), 25);
    QVERIFY(infoLog().contains("25 : 25"));
    QVERIFY(bar()->isHidden());
}

void TestRequests::chunkedDownloadDragsMinimum()
{
    QSslSocket *pConnection = nullptr;
    server()->script(TrackersPath, [&](QSslSocket *pSocket) {
        pSocket->write("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\n{\r\n");
        pConnection = pSocket;
    });
    combo()->addItem("a group", "12");
    QTRY_VERIFY(pConnection);
    // The framework reports at most every tenth of a second, and only when bytes arrive.
    const auto reported = [&] {
        pConnection->write("1\r\n \r\n");
        return !infoLog().filter(" : -1").isEmpty();
    };
    QTRY_VERIFY(reported());
    pConnection->write("1\r\n}\r\n0\r\n\r\n");
    QTRY_COMPARE(shownText("numberTrackers"), QString("(0)"));
    // The bar never gets its 0 back: that is how the framework's range works.
    QCOMPARE(bar()->minimum(), -1);
    QVERIFY(bar()->maximum() > 0);
}

VELTRANO_TEST_MAIN(TestRequests)
#include "tst_requests.moc"
