// From the barcode reader's bytes to ticked trackers, and what the reader's port reports.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "barcoderules.h"
#include "trackertable.h"

#include <QDebug>
#include <QMetaEnum>
#include <QStandardItemModel>

void MainWindow::onBarCode()
{
    const QByteArray baChunk = m_pSerialPort->readAll();
    m_baBarCode += baChunk;
    // A reader that was opened again is connected again, and the second call finds nothing to read.
    if (!endsLine(baChunk))
        return;

    // Refused silently: the operator hears from the reader that it read, and scans once more.
    if (isSerialNumberLine(m_baBarCode))
        emit signalGotSN(scannedSerialNumber(m_baBarCode));
    m_baBarCode.clear();
}

void MainWindow::onBarCodeError(QSerialPort::SerialPortError portError)
{
    qInfo() << "onBarCodeError";
    qInfo() << QMetaEnum::fromType<QSerialPort::SerialPortError>().valueToKey(portError);
    // What a reader leaves behind that is unplugged while its port is open. The other errors, and
    // the report that there is none, which comes with every opening, leave the port usable.
    if (portError == QSerialPort::ResourceError) {
        if (m_pSerialPort->isOpen())
            m_pSerialPort->close();
        ui->barReaderFound->setChecked(false);
    }
}

void MainWindow::gotABarCode(QString strSN)
{
    qInfo() << strSN;
    const qint64 iScanned = serialNumberValue(strSN);
    for (int iRow = 0; iRow < m_pTrackerModel->rowCount(); ++iRow) {
        const QModelIndex serialNumber = m_pTrackerModel->index(iRow, SerialNumberColumn);
        if (serialNumberValue(serialNumber.data().toString()) == iScanned) {
            // No end of the walk: of rows with the same number, all are ticked.
            ui->treeView->setCurrentIndex(serialNumber);
            m_pTrackerModel->setData(serialNumber, static_cast<int>(Qt::Checked),
                                     Qt::CheckStateRole);
        }
    }
}
