// Setting the profile of trackers to normal or extended.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "bookingrules.h"
#include "trackertable.h"

#include "service/request.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMessageBox>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrlQuery>

void MainWindow::setProfileButton(bool bClick)
{
    Q_UNUSED(bClick)
    if (!sender())
        return;
    const bool bNormal = sender()->objectName() == "normalProfile";

    const int iCount = tickedTrackerCount(m_pTrackerModel);
    if (iCount == 0)
        return;

    const QString strQuestion = profileQuestion(iCount, bNormal ? "normal" : "extended");
    // The title of an activation: one title for every question.
    if (QMessageBox::question(this, tr("Activate ?"), strQuestion) != QMessageBox::Yes)
        return;

    QJsonArray posted;
    forEachTickedTracker(m_pTrackerModel, [&](const QString &strSerialNumber) {
        posted << QJsonObject{{"deviceSn", strSerialNumber}};
    });
    QUrlQuery items;
    items.addQueryItem("extend", bNormal ? "N" : "Y");
    items.addQueryItem("posted", QJsonDocument(posted).toJson());

    ui->progressBar->setVisible(true);
    QNetworkReply *pReply =
        postOnce(m_pNetManager, formRequest("/extendTrackers.php"), formBody(items));
    connect(pReply, SIGNAL(finished()), this, SLOT(onDoneActivations()));
    // clang-format off
    connect(pReply, SIGNAL(uploadProgress(qint64,qint64)),
            this, SLOT(onUploadProgress(qint64,qint64)));
    // clang-format on
}
