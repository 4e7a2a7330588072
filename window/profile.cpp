// Changing the profile of trackers.

#include "mainwindow.h"

void MainWindow::setProfileButton(bool bClick)
{
    Q_UNUSED(bClick)
}
