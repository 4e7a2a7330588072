// Serial ports that are there for the framework although nothing is plugged in: the device tree is
// umockdev's, the lines are pseudo-terminals.

#include <umockdev.h> // before the framework's headers: "signals" is a member's name in it

#include "emulatedreader.h"

#include <QFile>
#include <QStringList>

#include <array>
#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {
/// The framework opens terminals raw; the bytes that are sent before it does so stay as they are
/// too.
int openTerminal(QByteArray *pName)
{
    termios settings{};
    cfmakeraw(&settings);
    settings.c_cflag |= CREAD;
    std::array<char, 128> name{};
    int iLine = -1;
    int iTerminal = -1;
    if (openpty(&iLine, &iTerminal, name.data(), &settings, nullptr) != 0)
        qFatal("no pseudo-terminal");
    close(iTerminal);
    fcntl(iLine, F_SETFD, FD_CLOEXEC); // or a child would keep the line from being hung up
    *pName = name.data();
    return iLine;
}

/// Not the owner of anything: the process's one testbed.
UMockdevTestbed *g_pTestbed = nullptr;
} // namespace

EmulatedPorts::EmulatedPorts()
{
    if (g_pTestbed)
        qFatal("one set of emulated ports at a time");
    g_pTestbed = umockdev_testbed_new();
}

EmulatedPorts::~EmulatedPorts()
{
    const QStringList ports = m_devices.keys();
    for (const QString &strPort : ports) {
        unplug(strPort);
        QFile::remove(lockFile(strPort));
    }
    g_object_unref(g_pTestbed);
    g_pTestbed = nullptr;
}

bool EmulatedPorts::areVisibleHere()
{
    return umockdev_in_mock_environment();
}

QString EmulatedPorts::plug(const QByteArray &baIds, int iBus)
{
    static int iPlugged = 0;
    ++iPlugged;
    QString strPort = QString("ttyT%1n%2").arg(getpid()).arg(iPlugged);
    const QString strPath =
        QString("/devices/pci0000:00/usb%1/%1-%2").arg(iBus).arg(iPlugged, 5, 10, QChar('0'));
    Device &device = m_devices[strPort];
    device.path = strPath.toLatin1();
    device.ids = baIds;
    plugAgain(strPort);
    return strPort;
}

void EmulatedPorts::plugAgain(const QString &strPort)
{
    Device &device = m_devices[strPort];
    const QByteArray baPort = strPort.toLatin1();
    QByteArray baTree = "P: " + device.path +
                        "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\n\nP: " + portPath(strPort) +
                        "\nE: SUBSYSTEM=tty\nE: DEVNAME=/dev/" + baPort + "\nA: dev=166:0\n";
    const QByteArrayList ids = device.ids.split(':');
    if (ids.size() == 2)
        baTree += "E: ID_VENDOR_ID=" + ids.first() + "\nE: ID_MODEL_ID=" + ids.last() + '\n';
    if (!umockdev_testbed_add_from_string(g_pTestbed, baTree.constData(), nullptr))
        qFatal("no device %s", baPort.constData());

    // umockdev would make a terminal too, but takes no second one for the same name.
    device.iLine = openTerminal(&device.terminal);
    if (!QFile::link(terminal(strPort), folder() + "/dev/" + strPort))
        qFatal("no device file %s", baPort.constData());
}

void EmulatedPorts::unplug(const QString &strPort)
{
    hangUp(strPort);
    unlist(strPort);
}

void EmulatedPorts::hangUp(const QString &strPort)
{
    int &iLine = m_devices[strPort].iLine;
    if (iLine >= 0)
        close(iLine);
    iLine = -1;
}

void EmulatedPorts::unlist(const QString &strPort)
{
    const QString strFile = folder() + "/dev/" + strPort;
    if (!QFile::symLinkTarget(strFile).isEmpty()) {
        QFile::remove(strFile);
        const QByteArray baSys = "/sys";
        umockdev_testbed_remove_device(g_pTestbed, (baSys + portPath(strPort)).constData());
        umockdev_testbed_remove_device(g_pTestbed, (baSys + m_devices[strPort].path).constData());
    }
}

void EmulatedPorts::send(const QString &strPort, const QByteArray &baBytes)
{
    const int iLine = m_devices[strPort].iLine;
    if (write(iLine, baBytes.constData(), size_t(baBytes.size())) != baBytes.size())
        qFatal("nothing goes over the line of %s", qPrintable(strPort));
}

void EmulatedPorts::waitUntilRead(const QString &strPort) const
{
    constexpr useconds_t StepMicroseconds = 10000;
    constexpr int Steps = 100;
    const int iTerminal =
        open(m_devices[strPort].terminal.constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    // Not at once: the bytes take their time from one end of the terminal to the other.
    int iUnread = 1;
    for (int i = 0; i < Steps && iUnread != 0; ++i) {
        usleep(StepMicroseconds);
        if (ioctl(iTerminal, FIONREAD, &iUnread) != 0)
            break;
    }
    close(iTerminal);
}

QString EmulatedPorts::terminal(const QString &strPort) const
{
    return m_devices[strPort].terminal;
}

QString EmulatedPorts::folder() const
{
    gchar *pFolder = umockdev_testbed_get_root_dir(g_pTestbed);
    QString strFolder = QFile::decodeName(pFolder);
    g_free(pFolder);
    return strFolder;
}

QString EmulatedPorts::lockFile(const QString &strPort)
{
    return "/var/lock/LCK.." + strPort;
}

QByteArray EmulatedPorts::portPath(const QString &strPort) const
{
    const QByteArray baDevice = m_devices[strPort].path;
    return baDevice + '/' + baDevice.mid(baDevice.lastIndexOf('/') + 1) + ":1.0/tty/" +
           strPort.toLatin1();
}
