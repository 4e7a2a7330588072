// One tracker's details: asked for by a double click, edited in the dialog, saved.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "trackertable.h"

#include "details/edittracker.h"
#include "service/reply.h"
#include "service/request.h"

#include <QDebug>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QStandardItemModel>
#include <QUrlQuery>

namespace {
const char *const TrackerInfoPath = "/bsGetGroupTrackerInfo.php";

void logActivation(const QModelIndex &index)
{
    const QModelIndex tracker = index.parent();
    qInfo() << tracker.sibling(tracker.row(), SerialNumberColumn).data().toString();
    qInfo() << index.data().toString();
    qInfo() << index.data(ActivationDoneRole).toInt();
    qInfo() << index.data(ActivationIdRole).toInt();
}
} // namespace

void MainWindow::onTrackerDoubleClick(QModelIndex mindex)
{
    if (mindex.parent().isValid()) {
        logActivation(mindex);
        return;
    }
    if (mindex.row() < 0)
        return;

    const QString strSerialNumber =
        m_pTrackerModel->index(mindex.row(), SerialNumberColumn).data().toString();
    const QString strGroup = ui->groupComboBox->currentText();
    qInfo() << "get info for " << strSerialNumber << strGroup;

    QUrlQuery items;
    items.addQueryItem("fx", "getInfo");
    items.addQueryItem("groupId", strGroup); // the whole text: the service takes the id from it
    items.addQueryItem("SN", strSerialNumber);
    QNetworkReply *pReply = m_pNetManager->get(queryRequest(TrackerInfoPath, items));
    connect(pReply, SIGNAL(finished()), this, SLOT(onGotTrackerDetail()));
    FollowDownload(pReply);
}

void MainWindow::onGotTrackerDetail()
{
    // This reply and the one below are not deleted: they live until the window closes.
    QNetworkReply *pReply = qobject_cast<QNetworkReply *>(sender());
    if (!pReply)
        return;
    const QByteArray baBody = pReply->readAll();
    const QJsonObject reply = replyObject(baBody);
    qInfo() << baBody;
    qInfo() << reply["name"].toString() << ":" << reply["deviceSN"].toString();

    auto *pDialog = new EditTracker(this);
    pDialog->setName(reply["name"].toString());
    if (pDialog->exec() == QDialog::Accepted) {
        QUrlQuery items;
        items.addQueryItem("fx", "saveInfo");
        items.addQueryItem("groupId", ui->groupComboBox->currentText());
        items.addQueryItem("SN", reply["SN"].toString());
        items.addQueryItem("name", pDialog->getName());
        QNetworkReply *pSaveReply = m_pNetManager->get(queryRequest(TrackerInfoPath, items));
        connect(pSaveReply, SIGNAL(finished()), this, SLOT(onSavedTrackerDetail()));
        FollowDownload(pSaveReply);
    }
    delete pDialog;
}

void MainWindow::onSavedTrackerDetail()
{
    QNetworkReply *pReply = qobject_cast<QNetworkReply *>(sender());
    if (!pReply)
        return;
    qInfo() << pReply->readAll();
}
