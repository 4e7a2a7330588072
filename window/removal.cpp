// Removing a pending activation period from the table's context menu.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "trackertable.h"

#include "service/request.h"

#include <QDebug>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrlQuery>

namespace {
/// The activation's id if the index is a period that is still pending, else -1. An id below 0 is
/// none that can be removed.
int removableActivation(const QModelIndex &index)
{
    if (!index.parent().isValid() || index.data(ActivationDoneRole).toInt() != 0)
        return -1;
    return index.data(ActivationIdRole).toInt();
}
} // namespace

void MainWindow::onTrackerContextMenuRequested(QPoint pnt)
{
    const QModelIndex index = ui->treeView->indexAt(pnt);
    const int iTrackerRow = index.parent().isValid() ? index.parent().row() : index.row();
    const int iActivation = removableActivation(index);

    QMenu menu;
    const QAction *pRemove = iActivation >= 0 ? menu.addAction("Remove") : nullptr;
    // An empty menu is executed as well. Behind this line the table may be another one.
    const QAction *pChosen = menu.exec(ui->treeView->mapToGlobal(pnt));
    if (pChosen && pChosen == pRemove) {
        qInfo() << "Remove:" << iActivation;
        QUrlQuery items;
        items.addQueryItem("activationId", QString("%1").arg(iActivation));
        QNetworkReply *pReply = m_pNetManager->get(queryRequest("/removeActivation.php", items));
        connect(pReply, SIGNAL(finished()), this, SLOT(onDoneActivations()));
    }
    qInfo() << iTrackerRow;
}
