// The tracker table, rebuilt from scratch by every reply that lists a group's trackers.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "trackerrules.h"
#include "trackertable.h"

#include "service/reply.h"

#include <QBrush>
#include <QColor>
#include <QDebug>
#include <QHeaderView>
#include <QIcon>
#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkReply>
#include <QStandardItemModel>

namespace {
constexpr int SerialNumberWidth = 300; // pixels
constexpr QRgb ExtendedProfileColour = qRgb(221, 85, 0);

/// The three lights, loaded once per rebuild: an icon per row decodes and keeps a pixmap per row.
struct LightIcons
{
    QIcon green{":/greenlight.png"};
    QIcon yellow{":/yellowlight.png"};
    QIcon red{":/redlight.png"};

    const QIcon &of(Light light) const
    {
        switch (light) {
        case Light::Green:
            return green;
        case Light::Yellow:
            return yellow;
        case Light::Red:
            break;
        }
        return red;
    }
};

QStandardItem *serialNumberItem(const QJsonObject &tracker)
{
    auto *pItem = new QStandardItem(tracker["deviceSn"].toString());
    if (tracker["p"].toString() == "E")
        pItem->setForeground(QBrush(QColor(ExtendedProfileColour)));
    // Null only: a tracker whose state is missing stays enabled.
    if (tracker["state"].isNull())
        pItem->setEnabled(false);
    pItem->setCheckable(true);
    pItem->setCheckState(Qt::Unchecked);
    pItem->setEditable(false);
    pItem->setToolTip(otherGroupsText(tracker["groups"].toArray()));
    return pItem;
}

/// Appends one child row per period; true if one of them is still pending.
bool appendActivations(QStandardItem *pSerialNumber, const QJsonArray &activations)
{
    bool bPending = false;
    for (const QJsonValue &value : activations) {
        const QJsonObject activation = value.toObject();
        const int iDone = activation["done"].toString().toInt();
        const int iId = activation["id"].toString().toInt();

        auto *pItem = new QStandardItem(activation["startTime"].toString() + " -> " +
                                        activation["endTime"].toString());
        pItem->setEditable(false);
        pItem->setData(iDone, ActivationDoneRole);
        pItem->setData(iId, ActivationIdRole);
        qInfo() << iDone << ":" << iId;
        pSerialNumber->appendRow(pItem);
        bPending = bPending || iDone == 0;
    }
    return bPending;
}

void setTrackerRow(QStandardItemModel *pModel, int iRow, const QJsonObject &tracker,
                   const LightIcons &lights)
{
    QStandardItem *pSerialNumber = serialNumberItem(tracker);
    pModel->setItem(iRow, SerialNumberColumn, pSerialNumber);
    pModel->setItem(iRow, TrackerNameColumn, new QStandardItem(tracker["TrackerName"].toString()));
    pModel->setItem(iRow, CompeIdColumn, new QStandardItem(tracker["compe_id"].toString()));
    pModel->setItem(iRow, FirmwareColumn, new QStandardItem(firmwareText(tracker["v"].toString())));
    pModel->setItem(iRow, ImsiColumn, new QStandardItem(tracker["imsi"].toString()));

    const bool bPending = appendActivations(pSerialNumber, tracker["activations"].toArray());
    pSerialNumber->setIcon(lights.of(trackerLight(tracker["state"].toString(), bPending)));
}
} // namespace

void MainWindow::onGetTrackersResult()
{
    QNetworkReply *pReply = qobject_cast<QNetworkReply *>(sender());
    const QByteArray baBody = pReply->readAll();
    qInfo() << baBody;
    ui->progressBar->setVisible(false);
    const QJsonObject reply = replyObject(baBody);

    const QString strBalance = reply["balance"].toString();
    qInfo() << strBalance;
    ui->accountBalance->setText(strBalance);

    const QJsonArray trackers = reply["trackers"].toArray();
    m_pTrackerModel->clear();
    m_pTrackerModel->setColumnCount(4); // the labels below make it five
    m_pTrackerModel->setRowCount(trackers.size());

    const int iCode = reply["rcode"].toInt();
    qInfo() << iCode;
    // No return: trackers that come with a refused session are still shown.
    if (iCode == SessionRefused)
        Logout();

    m_pTrackerModel->setHorizontalHeaderLabels(
        {"Serial Number", "Tracker Name", "CompeId", "Firmware", "Imsi"});
    ui->treeView->setHeaderHidden(false);
    ui->treeView->setColumnWidth(SerialNumberColumn, SerialNumberWidth);
    ui->numberTrackers->setText(QString("(%1)").arg(trackers.size()));

    const LightIcons lights;
    int iRow = 0;
    for (const QJsonValue &tracker : trackers) {
        setTrackerRow(m_pTrackerModel, iRow, tracker.toObject(), lights);
        ++iRow;
    }
    delete pReply;
}
