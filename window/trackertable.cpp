// The walk over the ticked trackers.

#include "trackertable.h"

#include <QStandardItemModel>

bool isTicked(const QModelIndex &serialNumber)
{
    // Exactly: half-checked counts as not ticked, and whether the row is enabled does not count.
    return serialNumber.data(Qt::CheckStateRole).toInt() == Qt::Checked;
}

void forEachTickedTracker(const QStandardItemModel *pModel,
                          const std::function<void(const QString &)> &action)
{
    for (int iRow = 0; iRow < pModel->rowCount(); ++iRow) {
        const QModelIndex serialNumber = pModel->index(iRow, SerialNumberColumn);
        if (isTicked(serialNumber))
            action(serialNumber.data().toString());
    }
}

int tickedTrackerCount(const QStandardItemModel *pModel)
{
    int iCount = 0;
    forEachTickedTracker(pModel, [&](const QString &) { ++iCount; });
    return iCount;
}
