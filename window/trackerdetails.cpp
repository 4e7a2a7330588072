// Editing one tracker's details.

#include "mainwindow.h"

void MainWindow::onTrackerDoubleClick(QModelIndex mindex)
{
    Q_UNUSED(mindex)
}

void MainWindow::onGotTrackerDetail() {}

void MainWindow::onSavedTrackerDetail() {}
