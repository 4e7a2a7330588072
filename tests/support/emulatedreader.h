#ifndef TESTS_SUPPORT_EMULATEDREADER_H
#define TESTS_SUPPORT_EMULATEDREADER_H

#include <QByteArray>
#include <QHash>
#include <QString>

/// The machine's serial ports, emulated: real terminals, with a test at the other end. While it
/// lives, a process that runs under umockdev-wrapper, this one or a child, sees the USB devices
/// that are plugged in here and no others. One at a time.
class EmulatedPorts
{
public:
    EmulatedPorts();
    /// Unplugs what is plugged in and removes the locks that killed processes left behind.
    ~EmulatedPorts();
    EmulatedPorts(const EmulatedPorts &) = delete;
    EmulatedPorts &operator=(const EmulatedPorts &) = delete;

    /// Whether this process runs under umockdev-wrapper.
    static bool areVisibleHere();

    /// Plugs a device into a USB bus and gives its port's name, which no other process uses: the
    /// lock of an open port is a file outside the emulation. The ids are the vendor's and the
    /// product's, "05f9:2206"; without a colon, the port has no ids. Ports are listed by bus, and
    /// on a bus as they were plugged in.
    QString plug(const QByteArray &baIds = "05f9:2206", int iBus = 1);
    /// The device goes: its line is hung up and its port is no longer listed.
    void unplug(const QString &strPort);
    /// The same device comes back.
    void plugAgain(const QString &strPort);
    /// Only the line goes; the port stays listed.
    void hangUp(const QString &strPort);
    /// The device is gone from the list, but its line stays.
    void unlist(const QString &strPort);
    /// What the device sends.
    void send(const QString &strPort, const QByteArray &baBytes);
    /// Waits until another process has read what was sent, or a second long if none reads it.
    void waitUntilRead(const QString &strPort) const;

    /// The terminal behind a port, under its real name.
    QString terminal(const QString &strPort) const;
    /// The folder that stands for the machine, empty but for its ports.
    QString folder() const;
    static QString lockFile(const QString &strPort);

private:
    struct Device
    {
        QByteArray path; // of the USB device, in the device tree
        QByteArray ids;
        QByteArray terminal;
        int iLine = -1; // the test's end of the terminal
    };

    QByteArray portPath(const QString &strPort) const;

    QHash<QString, Device> m_devices;
};

#endif // TESTS_SUPPORT_EMULATEDREADER_H
