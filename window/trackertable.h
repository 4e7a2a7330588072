#ifndef WINDOW_TRACKERTABLE_H
#define WINDOW_TRACKERTABLE_H

#include <QStringList>

class QModelIndex;
class QStandardItemModel;

/// The columns of a tracker's top-level row. Only the first carries a tick, a light, a tool tip and
/// the activation periods as its child rows.
enum TrackerColumn {
    SerialNumberColumn,
    TrackerNameColumn,
    CompeIdColumn,
    FirmwareColumn,
    ImsiColumn
};

/// What only a child row carries, an activation period: both are ints.
enum ActivationRole {
    ActivationDoneRole = Qt::UserRole + 1, // 0 while the period is pending
    ActivationIdRole = Qt::UserRole + 2
};

/// Whether the tracker whose column-0 index this is is ticked.
bool isTicked(const QModelIndex &serialNumber);

/// The serial number of every ticked tracker, in row order. The row count is read anew at every
/// step.
QStringList tickedSerialNumbers(const QStandardItemModel *pModel);

#endif // WINDOW_TRACKERTABLE_H
