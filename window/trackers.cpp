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

#include <utility>

namespace {
constexpr int SerialNumberWidth = 300; // pixels
constexpr QRgb ExtendedProfileColour = qRgb(221, 85, 0);

/// A member's name. A plain literal would be converted for each row.
template <int Size>
constexpr QLatin1String latin1(const char (&literal)[Size])
{
    return QLatin1String(literal, Size - 1); // counted here: not every compiler counts it itself
}

constexpr QLatin1String SerialNumberKey = latin1("deviceSn");
constexpr QLatin1String TrackerNameKey = latin1("TrackerName");
constexpr QLatin1String CompeIdKey = latin1("compe_id");
constexpr QLatin1String FirmwareKey = latin1("v");
constexpr QLatin1String ImsiKey = latin1("imsi");
constexpr QLatin1String StateKey = latin1("state");
constexpr QLatin1String ProfileKey = latin1("p");
constexpr QLatin1String GroupsKey = latin1("groups");
constexpr QLatin1String ActivationsKey = latin1("activations");
constexpr QLatin1String ActivationIdKey = latin1("id");
constexpr QLatin1String DoneKey = latin1("done");
constexpr QLatin1String StartTimeKey = latin1("startTime");
constexpr QLatin1String EndTimeKey = latin1("endTime");

constexpr QLatin1String ExtendedProfile = latin1("E");
constexpr QLatin1String PeriodArrow = latin1(" -> ");

struct LightIcons
{
    QIcon green{":/greenlight.png"};
    QIcon yellow{":/yellowlight.png"};
    QIcon red{":/redlight.png"};
};

/// Always the same icon for a light: each new one would be decoded and kept in the pixmap cache
/// under a key of its own, which grows with every rebuild.
const QIcon &lightIcon(Light light)
{
    // Never destroyed: pictures must not go after the application object.
    static const auto *const pIcons = new LightIcons;
    switch (light) {
    case Light::Green:
        return pIcons->green;
    case Light::Yellow:
        return pIcons->yellow;
    case Light::Red:
        break;
    }
    return pIcons->red;
}

QStandardItem *serialNumberItem(const QJsonObject &tracker)
{
    auto *pItem = new QStandardItem(tracker[SerialNumberKey].toString());
    if (tracker[ProfileKey].toString() == ExtendedProfile)
        pItem->setForeground(QBrush(QColor(ExtendedProfileColour)));
    // Null only: a tracker whose state is missing stays enabled.
    if (tracker[StateKey].isNull())
        pItem->setEnabled(false);
    pItem->setCheckable(true); // and unchecked
    pItem->setEditable(false);
    pItem->setIcon(lightIcon(trackerLight(tracker[StateKey].toString(), false)));
    return pItem;
}

/// Appends the period as the tracker's last child row; true if it is still pending.
bool appendActivation(QStandardItem *pSerialNumber, const QJsonObject &activation)
{
    const int iDone = activation[DoneKey].toString().toInt();
    const int iId = activation[ActivationIdKey].toString().toInt();

    auto *pItem = new QStandardItem(activation[StartTimeKey].toString() + PeriodArrow +
                                    activation[EndTimeKey].toString());
    pItem->setEditable(false);
    pItem->setData(iDone, ActivationDoneRole);
    pItem->setData(iId, ActivationIdRole);
    qInfo() << iDone << ":" << iId;
    pSerialNumber->appendRow(pItem);
    return iDone == 0;
}

void setTrackerRow(QStandardItemModel *pModel, int iRow, const QJsonObject &tracker)
{
    QStandardItem *pSerialNumber = serialNumberItem(tracker);
    pModel->setItem(iRow, SerialNumberColumn, pSerialNumber);
    pModel->setItem(iRow, TrackerNameColumn, new QStandardItem(tracker[TrackerNameKey].toString()));
    pModel->setItem(iRow, CompeIdColumn, new QStandardItem(tracker[CompeIdKey].toString()));
    pModel->setItem(iRow, FirmwareColumn,
                    new QStandardItem(firmwareText(tracker[FirmwareKey].toString())));
    pModel->setItem(iRow, ImsiColumn, new QStandardItem(tracker[ImsiKey].toString()));
    pSerialNumber->setToolTip(otherGroupsText(tracker[GroupsKey].toArray()));

    const QString strState = tracker[StateKey].toString();
    const QJsonArray activations = tracker[ActivationsKey].toArray();
    bool bYellow = false;
    for (const QJsonValue &activation : activations) {
        const bool bPending = appendActivation(pSerialNumber, activation.toObject());
        const Light light = trackerLight(strState, bPending);
        // Once and for good: a later period that is done leaves it.
        if (light == Light::Yellow && !std::exchange(bYellow, true))
            pSerialNumber->setIcon(lightIcon(light));
    }
}
} // namespace

void MainWindow::onGetTrackersResult()
{
    QNetworkReply *pReply = qobject_cast<QNetworkReply *>(sender());
    if (!pReply)
        return;
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

    int iRow = 0;
    for (const QJsonValue &tracker : trackers) {
        setTrackerRow(m_pTrackerModel, iRow, tracker.toObject());
        ++iRow;
    }
    delete pReply;
}
