// Finding the barcode reader among the serial ports.

#include "mainwindow.h"

void MainWindow::EnumReaders(bool bOpen)
{
    Q_UNUSED(bOpen)
}

void MainWindow::onSearchBarReader(bool bPress)
{
    Q_UNUSED(bPress)
}
