// The walk over the ticked trackers.

#include "trackertable.h"

#include <QStandardItemModel>

bool isTicked(const QModelIndex &serialNumber)
{
    // Exactly: half-checked counts as not ticked, and whether the row is enabled does not count.
    return serialNumber.data(Qt::CheckStateRole).toInt() == Qt::Checked;
}

QStringList tickedSerialNumbers(const QStandardItemModel *pModel)
{
    QStringList serialNumbers;
    for (int iRow = 0; iRow < pModel->rowCount(); ++iRow) {
        const QModelIndex serialNumber = pModel->index(iRow, SerialNumberColumn);
        if (isTicked(serialNumber))
            serialNumbers << serialNumber.data().toString();
    }
    return serialNumbers;
}
