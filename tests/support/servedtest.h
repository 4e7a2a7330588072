// The window with a scripted service behind it and a table of trackers in it: where the tests of
// the commands on trackers begin.

#ifndef TESTS_SUPPORT_SERVEDWINDOW_H
#define TESTS_SUPPORT_SERVEDWINDOW_H

#include "scriptedserver.h"
#include "windowtest.h"

#include "window/mainwindow.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QHash>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProgressBar>
#include <QScopedPointer>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTreeView>

#include <initializer_list>

/// Nothing is answered by script: each request stays open until serve() answers it.
class ServedWindow
{
public:
    static constexpr const char *TrackersPath = "/bsGetGroupTrackers.php";

    ServedWindow()
    {
        setServicePort(m_pServer->serverPort());
        m_pWindow.reset(new MainWindow);
        clearLog();
    }

    ScriptedServer *server() const { return m_pServer.data(); }
    MainWindow *window() const { return m_pWindow.data(); }
    void destroyWindow() { m_pWindow.reset(); }

    template <typename Widget>
    Widget *widget(const char *pName) const
    {
        return childOf<Widget>(m_pWindow.data(), pName);
    }
    QTreeView *view() const { return widget<QTreeView>("treeView"); }
    QComboBox *combo() const { return widget<QComboBox>("groupComboBox"); }
    QProgressBar *bar() const { return widget<QProgressBar>("progressBar"); }
    QStandardItemModel *model() const
    {
        return qobject_cast<QStandardItemModel *>(view()->model());
    }
    void click(const char *pName) const { widget<QAbstractButton>(pName)->click(); }

    /// Two groups, the first of them current, and its trackers: JSON objects with commas between.
    void fill(const QByteArray &baTrackers)
    {
        combo()->clear();
        combo()->addItem("12 - Club A", "12");
        combo()->addItem("40 - Club B", "40");
        serveTrackers(baTrackers);
        clearLog();
    }

    /// Answers the request for trackers that comes next, or came long ago; returns when the table
    /// is rebuilt.
    void serveTrackers(const QByteArray &baTrackers)
    {
        serve(TrackersPath, R"({"rcode":0,"balance":"1","trackers":[)" + baTrackers + "]}");
        // Not before: asking clears the table as well.
        QSignalSpy rebuilt(model(), SIGNAL(modelReset()));
        QTRY_VERIFY(!rebuilt.isEmpty());
    }

    /// Answers the next request to the path; waits for its arrival.
    void serve(const QByteArray &baPath, const ScriptedServer::Behaviour &behaviour)
    {
        const int iServed = m_served[baPath]++;
        QTRY_VERIFY(m_pServer->requestsTo(baPath).size() > iServed);
        QVERIFY(m_pServer->release(baPath, behaviour));
    }
    void serve(const QByteArray &baPath, const QByteArray &baBody)
    {
        serve(baPath, ScriptedServer::reply(baBody));
    }

    void tick(std::initializer_list<int> rows) const
    {
        for (int iRow : rows)
            model()->item(iRow)->setCheckState(Qt::Checked);
    }

    /// Replies that are under way or were never deleted. A request has one from the moment it is
    /// sent, so none more means that nothing was sent.
    int replies() const
    {
        return m_pWindow->findChild<QNetworkAccessManager *>()
            ->findChildren<QNetworkReply *>()
            .size();
    }

    QByteArray expectedPost(const QByteArray &baPath, const QByteArray &baBody) const
    {
        return "POST " + baPath + " HTTP/1.1\r\nHost: " + host() +
               "\r\nContent-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
               QByteArray::number(baBody.size()) + commonHeaders() + baBody;
    }
    /// Without a content type.
    QByteArray expectedGet(const QByteArray &baTarget) const
    {
        return "GET " + baTarget + " HTTP/1.1\r\nHost: " + host() + commonHeaders();
    }
    /// All bytes of the only request to the path.
    QByteArray onlyRequest(const QByteArray &baPath) const
    {
        const QList<ScriptedServer::Request> requests = m_pServer->requestsTo(baPath);
        if (requests.size() != 1)
            return QByteArray::number(requests.size()) + " requests";
        return requests.first().head + requests.first().body;
    }

private:
    QByteArray host() const { return "localhost:" + QByteArray::number(m_pServer->serverPort()); }
    static QByteArray commonHeaders()
    {
        return "\r\nConnection: Keep-Alive\r\nAccept-Encoding: gzip, deflate\r\n"
               "Accept-Language: en,*\r\nUser-Agent: Mozilla/5.0\r\n\r\n";
    }

    QScopedPointer<ScriptedServer> m_pServer{new ScriptedServer};
    QScopedPointer<MainWindow> m_pWindow; // behind the server: it goes first
    QHash<QByteArray, int> m_served;
};

/// The question that goes before every command on ticked trackers.
inline SeenBox questionBox(const QString &strText)
{
    SeenBox box;
    box.title = "Activate ?";
    box.text = strText;
    box.icon = QMessageBox::Question;
    box.buttons = QMessageBox::Yes | QMessageBox::No;
    box.parentName = "MainWindow";
    return box;
}

#endif // TESTS_SUPPORT_SERVEDWINDOW_H
