// The reply of a group, and the table that comes of it without anybody who looks on.

#include "baretable.h"

#include "window/trackertable.h"

#include <QBrush>
#include <QDebug>
#include <QIcon>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPixmap>
#include <QStandardItemModel>

namespace {
constexpr int PeriodsPerTracker = 3;

QByteArray periodsOf(int iTracker)
{
    QByteArray baPeriods;
    for (int i = 0; i < PeriodsPerTracker; ++i)
        baPeriods += QByteArray(i ? "," : "") + R"({"id":")" +
                     QByteArray::number(iTracker * PeriodsPerTracker + i) +
                     R"(","startTime":"2026-03-01 00:00","endTime":"2026-03-08 00:00",)"
                     R"("done":")" +
                     QByteArray::number(i % 2) + R"("})";
    return baPeriods;
}

QString text(const QJsonObject &object, const char *pKey)
{
    return object.value(QLatin1String(pKey)).toString();
}

QString groupsText(const QJsonArray &groups)
{
    QString strText;
    for (const QJsonValue &group : groups)
        strText += (strText.isEmpty() ? QLatin1String("other groups:") : QLatin1String(",")) +
                   text(group.toObject(), "id");
    return strText;
}

bool appendPeriod(QStandardItem *pSerialNumber, const QJsonObject &period)
{
    const int iDone = text(period, "done").toInt();
    const int iId = text(period, "id").toInt();
    auto *pItem = new QStandardItem(text(period, "startTime") + QLatin1String(" -> ") +
                                    text(period, "endTime"));
    pItem->setEditable(false);
    pItem->setData(iDone, ActivationDoneRole);
    pItem->setData(iId, ActivationIdRole);
    qInfo() << iDone << ":" << iId;
    pSerialNumber->appendRow(pItem);
    return iDone == 0;
}

QStandardItem *serialNumberItem(const QJsonObject &tracker, const QJsonValue &state,
                                const QIcon &light)
{
    auto *pItem = new QStandardItem(text(tracker, "deviceSn"));
    if (text(tracker, "p") == QLatin1String("E"))
        pItem->setForeground(QBrush(QColor(221, 85, 0)));
    if (state.isNull())
        pItem->setEnabled(false);
    pItem->setCheckable(true);
    pItem->setEditable(false);
    pItem->setIcon(light);
    return pItem;
}

struct Lights
{
    QIcon green{":/greenlight.png"};
    QIcon yellow{":/yellowlight.png"};
    QIcon red{":/redlight.png"};
};

void placeTracker(QStandardItemModel *pModel, int iRow, const QJsonObject &tracker)
{
    static const auto *const pLights = new Lights;
    const QJsonValue state = tracker.value(QLatin1String("state"));
    const bool bActive = state.toString() == QLatin1String("A");
    QStandardItem *pSerialNumber =
        serialNumberItem(tracker, state, bActive ? pLights->green : pLights->red);
    pModel->setItem(iRow, SerialNumberColumn, pSerialNumber);
    pModel->setItem(iRow, TrackerNameColumn, new QStandardItem(text(tracker, "TrackerName")));
    pModel->setItem(iRow, CompeIdColumn, new QStandardItem(text(tracker, "compe_id")));
    pModel->setItem(iRow, FirmwareColumn, new QStandardItem(text(tracker, "v").insert(1, '.')));
    pModel->setItem(iRow, ImsiColumn, new QStandardItem(text(tracker, "imsi")));
    pSerialNumber->setToolTip(groupsText(tracker.value(QLatin1String("groups")).toArray()));

    const QJsonArray periods = tracker.value(QLatin1String("activations")).toArray();
    for (const QJsonValue &period : periods) {
        if (appendPeriod(pSerialNumber, period.toObject()) && !bActive)
            pSerialNumber->setIcon(pLights->yellow);
    }
}

bool isSameLight(const QVariant &one, const QVariant &other)
{
    const QSize size(16, 16);
    return one.value<QIcon>().pixmap(size).toImage() == other.value<QIcon>().pixmap(size).toImage();
}

bool isSameItem(const QModelIndex &one, const QModelIndex &other)
{
    QMap<int, QVariant> oneData = one.model()->itemData(one);
    QMap<int, QVariant> otherData = other.model()->itemData(other);
    return one.flags() == other.flags() &&
           isSameLight(oneData.take(Qt::DecorationRole), otherData.take(Qt::DecorationRole)) &&
           oneData == otherData;
}

bool areSameChildren(const QAbstractItemModel *pOne, const QModelIndex &oneParent,
                     const QAbstractItemModel *pOther, const QModelIndex &otherParent)
{
    const int iRows = pOne->rowCount(oneParent);
    const int iColumns = pOne->columnCount(oneParent);
    if (pOther->rowCount(otherParent) != iRows || pOther->columnCount(otherParent) != iColumns)
        return false;
    for (int i = 0; i < iRows * iColumns; ++i) {
        const QModelIndex one = pOne->index(i / iColumns, i % iColumns, oneParent);
        const QModelIndex other = pOther->index(i / iColumns, i % iColumns, otherParent);
        if (!isSameItem(one, other) || !areSameChildren(pOne, one, pOther, other))
            return false;
    }
    return true;
}
} // namespace

QByteArray groupOf(int iTrackers)
{
    QByteArray baTrackers;
    for (int i = 0; i < iTrackers; ++i)
        baTrackers += QByteArray(i ? "," : "") + R"({"deviceSn":")" +
                      QByteArray::number(FirstSerialNumber + i) + R"(","TrackerName":"Tracker )" +
                      QByteArray::number(i) + R"(","compe_id":"T)" + QByteArray::number(i) +
                      R"(","state":")" + (i % 3 ? "" : "A") +
                      R"(","v":"305","imsi":"234500000000001","p":"N","groups":[{"id":"40"}],)"
                      R"("activations":[)" +
                      periodsOf(i) + "]}";
    return R"({"rcode":0,"balance":"412.50 EUR","trackers":[)" + baTrackers + "]}";
}

void buildBareTable(QStandardItemModel *pModel, const QByteArray &baBody)
{
    qInfo() << baBody;
    const QJsonObject reply = QJsonDocument::fromJson(baBody).object();
    qInfo() << text(reply, "balance");
    const QJsonArray trackers = reply.value(QLatin1String("trackers")).toArray();
    pModel->clear();
    pModel->setColumnCount(4);
    pModel->setRowCount(trackers.size());
    qInfo() << reply.value(QLatin1String("rcode")).toInt();
    pModel->setHorizontalHeaderLabels(
        {"Serial Number", "Tracker Name", "CompeId", "Firmware", "Imsi"});
    int iRow = 0;
    for (const QJsonValue &tracker : trackers)
        placeTracker(pModel, iRow++, tracker.toObject());
}

bool isSameTable(const QStandardItemModel *pOne, const QStandardItemModel *pOther)
{
    for (int i = 0; i < pOne->columnCount(); ++i) {
        if (pOne->headerData(i, Qt::Horizontal) != pOther->headerData(i, Qt::Horizontal))
            return false;
    }
    return areSameChildren(pOne, {}, pOther, {});
}
