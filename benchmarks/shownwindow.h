#ifndef BENCHMARKS_SHOWNWINDOW_H
#define BENCHMARKS_SHOWNWINDOW_H

#include "scriptedserver.h"

#include <QByteArray>
#include <QScopedPointer>

class MainWindow;
class QComboBox;
class QStandardItemModel;
class QString;
class QTreeView;

/// How long the table of a reply took, in milliseconds up to its paint.
struct TableTimes
{
    double sinceSent = 0;    // the service writes the first byte
    double sinceArrived = 0; // the reply is finished, its body is all there
};

/// The window, shown, with a service of its own that answers with one group.
class ShownWindow
{
public:
    explicit ShownWindow(int iTrackers);
    ~ShownWindow();

    MainWindow *window() const { return m_pWindow.data(); }
    QTreeView *view() const;
    QStandardItemModel *model() const;
    ScriptedServer *server() { return &m_server; }
    const QByteArray &reply() const { return m_baReply; }
    int trackers() const { return m_iTrackers; }

    /// Chooses the group; returns when its table is painted. The traces of the transfer are taken
    /// already, those of the table are there to be taken.
    TableTimes load();
    void click(const char *pName) const;
    void clickSelection(const QString &strText) const;

private:
    int m_iTrackers;
    QByteArray m_baReply;
    ScriptedServer m_server;
    QScopedPointer<MainWindow> m_pWindow; // behind the server: it goes first
};

#endif // BENCHMARKS_SHOWNWINDOW_H
