#ifndef TESTS_SUPPORT_SERVEDTEST_H
#define TESTS_SUPPORT_SERVEDTEST_H

#include "quiettest.h"
#include "scriptedserver.h"

#include "window/mainwindow.h"

#include <QComboBox>
#include <QHash>
#include <QProgressBar>
#include <QScopedPointer>
#include <QStandardItemModel>
#include <QTreeView>

#include <initializer_list>

/// A test with the window and a scripted service behind it, both new for each function. Nothing is
/// answered until a test says so: by a script, or by serve(), which answers a request that is open.
class ServedTest : public QuietTest
{
    Q_OBJECT

protected:
    static constexpr const char *TrackersPath = "/bsGetGroupTrackers.php";

    /// Leaves no traces in the log.
    void setUp() override;
    void tearDown() override;

    ScriptedServer *server() const { return m_pServer.data(); }
    MainWindow *window() const { return m_pWindow.data(); }
    /// In the place of the one that is there.
    void makeWindow();
    void destroyWindow() { m_pWindow.reset(); }

    template <typename Widget>
    Widget *widget(const char *pName) const
    {
        return childOf<Widget>(m_pWindow.data(), pName);
    }
    QTreeView *view() const { return widget<QTreeView>("treeView"); }
    QComboBox *combo() const { return widget<QComboBox>("groupComboBox"); }
    QProgressBar *bar() const { return widget<QProgressBar>("progressBar"); }
    QStandardItemModel *model() const;
    /// What a label, a button or a field shows.
    QString shownText(const char *pName) const;
    void click(const char *pName) const;
    /// Every property of every widget that can be written down, and the table.
    QStringList windowState() const;

    /// Two groups, the first of them current, and its trackers: JSON objects with commas between.
    void fill(const QByteArray &baTrackers);
    /// Answers the request for trackers that comes next, or came long ago; returns when the table
    /// is rebuilt.
    void serveTrackers(const QByteArray &baTrackers);
    /// Answers the next request to the path; waits for its arrival.
    void serve(const QByteArray &baPath, const ScriptedServer::Behaviour &behaviour);
    void serve(const QByteArray &baPath, const QByteArray &baBody);
    void tick(std::initializer_list<int> rows) const;

    /// Replies that are under way or were never deleted. A request has one from the moment it is
    /// sent, so none more means that nothing was sent.
    int replies() const;
    QByteArray expectedPost(const QByteArray &baPath, const QByteArray &baBody) const;
    /// Without a content type.
    QByteArray expectedGet(const QByteArray &baTarget) const;
    /// All bytes of the only request to the path.
    QByteArray onlyRequest(const QByteArray &baPath) const;

private:
    QByteArray host() const { return "localhost:" + QByteArray::number(m_pServer->serverPort()); }

    QScopedPointer<ScriptedServer> m_pServer;
    QScopedPointer<MainWindow> m_pWindow; // behind the server: it goes first
    QHash<QByteArray, int> m_served;
};

/// The log with one report of each reply's progress, the last one: a reply arrives in any number of
/// pieces, and each may be reported.
QStringList logOfWholeReplies();

/// The question that goes before every command on ticked trackers.
SeenBox questionBox(const QString &strText);

#endif // TESTS_SUPPORT_SERVEDTEST_H
