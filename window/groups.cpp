// The account's groups, and asking for the trackers of the group that becomes current.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "service/reply.h"
#include "service/request.h"

#include <QDebug>
#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QStandardItemModel>
#include <QUrlQuery>

namespace {
QString groupText(const QJsonObject &group)
{
    return group["id"].toString() + " - " + group["group_name"].toString();
}
} // namespace

void MainWindow::onGetGroupsResult()
{
    QNetworkReply *pReply = qobject_cast<QNetworkReply *>(sender());
    if (!pReply)
        return;
    const QByteArray baBody = pReply->readAll();
    qInfo() << baBody;
    const QJsonObject reply = replyObject(baBody);

    ui->groupComboBox->clear();
    // No return: groups that come with a refused session are still listed.
    if (reply["rcode"].toInt() == SessionRefused)
        Logout();

    const QJsonArray groups = reply["groups"].toArray();
    for (const QJsonValue &value : groups) {
        const QJsonObject group = value.toObject();
        // The first entry becomes current at once: onGroupChanged(0) runs inside this call.
        ui->groupComboBox->addItem(groupText(group), group["id"].toVariant());
        qInfo() << group["id"];
    }
    delete pReply; // at once; nothing touches it afterwards
}

void MainWindow::onGroupChanged(int iIdx)
{
    if (iIdx < 0)
        return; // the box was cleared

    QUrlQuery items;
    items.addQueryItem("idgroup", ui->groupComboBox->itemData(iIdx).toString());

    m_pTrackerModel->clear();
    ui->numberTrackers->setText(QString());
    ui->progressBar->setVisible(true);

    QNetworkReply *pReply = m_pNetManager->get(queryRequest("/bsGetGroupTrackers.php", items));
    connect(pReply, SIGNAL(finished()), this, SLOT(onGetTrackersResult()));
    FollowDownload(pReply);
}

void MainWindow::onButtonRefresh(bool)
{
    QNetworkReply *pReply = m_pNetManager->get(formRequest("/bsGetMyGroups.php"));
    connect(pReply, SIGNAL(finished()), this, SLOT(onGetGroupsResult()));
}

void MainWindow::onNewGroup(bool)
{
    // Groups are made by the service's owner; the button keeps its place and does nothing.
}
