// Setting the profile of trackers to normal or extended.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "bookingrules.h"
#include "trackertable.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMessageBox>
#include <QUrlQuery>

void MainWindow::setProfileButton(bool)
{
    if (!sender())
        return;
    const bool bNormal = sender()->objectName() == "normalProfile";

    const int iCount = tickedSerialNumbers(m_pTrackerModel).size();
    if (iCount == 0)
        return;

    const QString strQuestion = profileQuestion(iCount, bNormal ? "normal" : "extended");
    // The title of an activation: one title for every question.
    if (QMessageBox::question(this, tr("Activate ?"), strQuestion) != QMessageBox::Yes)
        return;

    QJsonArray posted;
    const QStringList serialNumbers = tickedSerialNumbers(m_pTrackerModel);
    for (const QString &strSerialNumber : serialNumbers)
        posted << QJsonObject{{"deviceSn", strSerialNumber}};
    QUrlQuery items;
    items.addQueryItem("extend", bNormal ? "N" : "Y");
    items.addQueryItem("posted", QJsonDocument(posted).toJson());
    PostCommand("/extendTrackers.php", items);
}
