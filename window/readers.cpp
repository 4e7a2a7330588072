// Finding the barcode reader among the serial ports, and the check box that shows it.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "service/qtversions.h"

#include <QDebug>
#include <QSerialPortInfo>

namespace {
constexpr quint16 ReaderVendor = 0x05F9; // whatever the model

/// A null port if none is a reader.
QSerialPortInfo firstReader()
{
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : ports) {
        if (port.vendorIdentifier() == ReaderVendor) // 0 for a port that is not on USB
            return port;
    }
    return {};
}
} // namespace

void MainWindow::EnumReaders(bool bOpen)
{
    const QSerialPortInfo reader = firstReader();
    if (reader.isNull())
        return;

    qInfo() << "Portx: " << reader.portName() << reader.vendorIdentifier();
    m_strPortName = reader.portName();
    if (!bOpen)
        return;

    m_pSerialPort->setPortName(m_strPortName);
    m_pSerialPort->open(QIODevice::ReadWrite);
    // Anew each time. A port that is opened again is connected again, and each signal calls its
    // slot twice then: the second call finds nothing left to read or to close.
    connect(m_pSerialPort, SIGNAL(readyRead()), this, SLOT(onBarCode()));
    connect(m_pSerialPort, portErrorSignal(), this,
            SLOT(onBarCodeError(QSerialPort::SerialPortError)));
    // Also for a port that did not open: the next click then tries it again.
    ui->barReaderFound->setChecked(true);
}

void MainWindow::onSearchBarReader(bool bPress)
{
    qInfo() << "look for reader" << bPress;
    // The click has toggled the box, but the box shows the port: back to where it was.
    ui->barReaderFound->setChecked(!bPress);
    if (m_pSerialPort->isOpen()) {
        m_pSerialPort->close();
        ui->barReaderFound->setChecked(false);
    } else {
        EnumReaders(true);
    }
}
