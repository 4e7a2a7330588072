// Removing an activation period.

#include "mainwindow.h"

void MainWindow::onTrackerContextMenuRequested(QPoint pnt)
{
    Q_UNUSED(pnt)
}
