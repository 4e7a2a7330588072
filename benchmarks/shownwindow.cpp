// The window with a service behind it that has one group.

#include "shownwindow.h"

#include "baretable.h"
#include "measure.h"
#include "windowtest.h"

#include "window/mainwindow.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStandardItemModel>
#include <QTreeView>

ShownWindow::ShownWindow(int iTrackers) : m_iTrackers(iTrackers), m_baReply(groupOf(iTrackers))
{
    setServicePort(m_server.serverPort());
    m_pWindow.reset(new MainWindow);
    m_pWindow->show();
}

ShownWindow::~ShownWindow() = default;

QTreeView *ShownWindow::view() const
{
    return childOf<QTreeView>(m_pWindow.data(), "treeView");
}

QStandardItemModel *ShownWindow::model() const
{
    return qobject_cast<QStandardItemModel *>(view()->model());
}

TableTimes ShownWindow::load()
{
    QElapsedTimer sent;
    QElapsedTimer arrived;
    m_server.forgetRequests();
    m_server.script("/bsGetGroupTrackers.php", [&](QSslSocket *pSocket) {
        sent.start();
        ScriptedServer::reply(m_baReply)(pSocket);
    });
    PaintWatch watch(view()->viewport(), [&] { return model()->rowCount() == m_iTrackers; });
    auto *pCombo = childOf<QComboBox>(m_pWindow.data(), "groupComboBox");
    pCombo->clear();
    pCombo->addItem("12 - Club A", "12"); // becomes current, and is asked for
    auto *pManager = m_pWindow->findChild<QNetworkAccessManager *>();
    auto *pReply = pManager->findChild<QNetworkReply *>();
    // Comes right before finished(), to which the window was connected first.
    QObject::connect(pReply, &QIODevice::readChannelFinished, pReply, [&] {
        takeTraces();
        beginCounting();
        arrived.start();
    });
    watch.wait();
    const TableTimes times{millisecondsSince(sent), millisecondsSince(arrived)};
    endCounting("program");
    if (!arrived.isValid())
        giveUp("the table was painted before its reply arrived");
    return times;
}

void ShownWindow::click(const char *pName) const
{
    childOf<QAbstractButton>(m_pWindow.data(), pName)->click();
}

void ShownWindow::clickSelection(const QString &strText) const
{
    auto *pBox = childOf<QDialogButtonBox>(m_pWindow.data(), "selectionBox");
    const QList<QAbstractButton *> buttons = pBox->buttons();
    for (QAbstractButton *pButton : buttons) {
        if (pButton->text() == strText)
            pButton->click();
    }
}
