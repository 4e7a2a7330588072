// Tells a port whose device was unplugged from one that could not be read.

#include "hangups.h"

#include <QSerialPort>

void reportHangUps(QSerialPort *pPort)
{
    const auto tryLine = [pPort](QSerialPort::SerialPortError portError) {
        if (portError == QSerialPort::ReadError) // a closed port takes any setting silently
            pPort->setDataBits(pPort->dataBits());
    };
    QObject::connect(pPort, &QSerialPort::errorOccurred, pPort, tryLine);
}
