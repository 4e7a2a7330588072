// Tells a port whose device was unplugged from one that could not be read.

#include "hangupwatcher.h"

#include <poll.h>

namespace {
bool isHungUp(const QSerialPort *pPort)
{
    // Both are reported unasked, and a closed port's handle, -1, has neither.
    pollfd line{pPort->handle(), 0, 0};
    return poll(&line, 1, 0) > 0 && (line.revents & (POLLHUP | POLLERR)) != 0;
}
} // namespace

HangUpWatcher::HangUpWatcher(QSerialPort *pPort) : QObject(pPort), m_pPort(pPort)
{
    // clang-format off
    connect(pPort, SIGNAL(error(QSerialPort::SerialPortError)),
            this, SLOT(onPortError(QSerialPort::SerialPortError)));
    // clang-format on
}

void HangUpWatcher::onPortError(QSerialPort::SerialPortError portError)
{
    if (portError == QSerialPort::ReadError && isHungUp(m_pPort))
        emit m_pPort->error(QSerialPort::ResourceError);
}
