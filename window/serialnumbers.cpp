// From the barcode reader's bytes to ticked trackers.

#include "mainwindow.h"

void MainWindow::onBarCode() {}

void MainWindow::onBarCodeError(QSerialPort::SerialPortError portError)
{
    Q_UNUSED(portError)
}

void MainWindow::gotABarCode(QString strSN)
{
    Q_UNUSED(strSN)
}
