// Ticking trackers in bulk.

#include "mainwindow.h"

void MainWindow::onSelectAll(bool clicked)
{
    Q_UNUSED(clicked)
}

void MainWindow::onSelectNone(bool clicked)
{
    Q_UNUSED(clicked)
}
