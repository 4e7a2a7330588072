#ifndef WINDOW_TRACKERTABLE_H
#define WINDOW_TRACKERTABLE_H

#include <Qt>

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

#endif // WINDOW_TRACKERTABLE_H
