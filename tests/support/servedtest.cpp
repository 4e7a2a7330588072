// The window, the service behind it and a table of trackers in it: where the tests of what the
// operator does begin.

#include "servedtest.h"

#include "qtversions.h"

#include <QAbstractButton>
#include <QMetaProperty>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSignalSpy>

namespace {
QByteArray commonHeaders()
{
    return QByteArray("\r\nConnection: Keep-Alive\r\nAccept-Encoding: ") + AcceptedEncodings +
           "\r\nAccept-Language: en,*\r\nUser-Agent: Mozilla/5.0\r\n\r\n";
}
} // namespace

void ServedTest::setUp()
{
    m_pServer.reset(new ScriptedServer);
    m_served.clear();
    setServicePort(m_pServer->serverPort());
    makeWindow();
    clearInfoLog();
}

void ServedTest::tearDown()
{
    destroyWindow();
    m_pServer.reset();
}

void ServedTest::makeWindow()
{
    destroyWindow();
    m_pWindow.reset(new MainWindow);
}

QStandardItemModel *ServedTest::model() const
{
    return qobject_cast<QStandardItemModel *>(view()->model());
}

QString ServedTest::shownText(const char *pName) const
{
    const QVariant text = widget<QWidget>(pName)->property("text");
    if (!text.isValid())
        qFatal("%s shows no text", pName);
    return text.toString();
}

void ServedTest::click(const char *pName) const
{
    widget<QAbstractButton>(pName)->click();
}

QStringList ServedTest::windowState() const
{
    QStringList state;
    const QList<QWidget *> widgets = m_pWindow->findChildren<QWidget *>();
    for (const QWidget *pWidget : widgets) {
        const QMetaObject *pClass = pWidget->metaObject();
        for (int i = 0; i < pClass->propertyCount(); ++i)
            state << pWidget->objectName() + '.' + pClass->property(i).name() + '=' +
                         pClass->property(i).read(pWidget).toString();
        state << (pWidget->isHidden() ? "hidden" : "not hidden");
    }
    for (int iRow = 0; iRow < model()->rowCount(); ++iRow) {
        for (int iColumn = 0; iColumn < model()->columnCount(); ++iColumn)
            state << model()->index(iRow, iColumn).data().toString();
    }
    return state;
}

void ServedTest::fill(const QByteArray &baTrackers)
{
    combo()->clear();
    combo()->addItem("12 - Club A", "12");
    combo()->addItem("40 - Club B", "40");
    serveTrackers(baTrackers);
    clearInfoLog();
}

void ServedTest::serveTrackers(const QByteArray &baTrackers)
{
    serve(TrackersPath, R"({"rcode":0,"balance":"1","trackers":[)" + baTrackers + "]}");
    // Not before: asking clears the table as well.
    QSignalSpy rebuilt(model(), SIGNAL(modelReset()));
    QTRY_VERIFY(!rebuilt.isEmpty());
}

void ServedTest::serve(const QByteArray &baPath, const ScriptedServer::Behaviour &behaviour)
{
    const int iServed = m_served[baPath]++;
    QTRY_VERIFY(m_pServer->requestsTo(baPath).size() > iServed);
    QVERIFY(m_pServer->release(baPath, behaviour));
}

void ServedTest::serve(const QByteArray &baPath, const QByteArray &baBody)
{
    serve(baPath, ScriptedServer::reply(baBody));
}

void ServedTest::tick(std::initializer_list<int> rows) const
{
    for (int iRow : rows)
        model()->item(iRow)->setCheckState(Qt::Checked);
}

int ServedTest::replies() const
{
    const auto *pManager = m_pWindow->findChild<QNetworkAccessManager *>();
    return pManager->findChildren<QNetworkReply *>().size();
}

QByteArray ServedTest::expectedPost(const QByteArray &baPath, const QByteArray &baBody) const
{
    return "POST " + baPath + " HTTP/1.1\r\nHost: " + host() +
           "\r\nContent-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
           QByteArray::number(baBody.size()) + commonHeaders() + baBody;
}

QByteArray ServedTest::expectedGet(const QByteArray &baTarget) const
{
    return "GET " + baTarget + " HTTP/1.1\r\nHost: " + host() + commonHeaders();
}

QByteArray ServedTest::onlyRequest(const QByteArray &baPath) const
{
    const QList<ScriptedServer::Request> requests = m_pServer->requestsTo(baPath);
    if (requests.size() != 1)
        return QByteArray::number(requests.size()) + " requests";
    return requests.first().head + requests.first().body;
}

QStringList logOfWholeReplies()
{
    static const QRegularExpression report("^\\d+ : \\d+$");
    QStringList lines = infoLog();
    for (int i = lines.size() - 1; i > 0; --i) {
        const bool bReports =
            report.match(lines.at(i)).hasMatch() && report.match(lines.at(i - 1)).hasMatch();
        if (bReports && lines.at(i).section(' ', 2) == lines.at(i - 1).section(' ', 2))
            lines.removeAt(i - 1);
    }
    return lines;
}

SeenBox questionBox(const QString &strText)
{
    SeenBox box;
    box.title = "Activate ?";
    box.text = strText;
    box.icon = QMessageBox::Question;
    box.buttons = QMessageBox::Yes | QMessageBox::No;
    box.parentName = "MainWindow";
    return box;
}
