#ifndef TESTS_SUPPORT_READERTEST_H
#define TESTS_SUPPORT_READERTEST_H

#include "emulatedreader.h"
#include "qtversions.h"
#include "quiettest.h"

#include "window/mainwindow.h"

#include <QScopedPointer>

class QCheckBox;
class QStandardItemModel;
class QTreeView;

/// A test on a machine whose serial ports are emulated, without any at the beginning of a function,
/// and from openWindow() to closeWindow() with the window on it.
class ReaderTest : public QuietTest
{
    Q_OBJECT

protected:
    void setUp() override;
    void tearDown() override;

    EmulatedPorts *ports() const { return m_pPorts.data(); }
    /// Makes the window, which looks for a reader at once.
    void openWindow() { m_pWindow.reset(new MainWindow); }
    void closeWindow() { m_pWindow.reset(); }
    /// With a reader that is plugged in, and no traces in the log; returns the reader's port.
    QString openWindowWithReader();

    MainWindow *window() const { return m_pWindow.data(); }
    QSerialPort *port() const;
    QCheckBox *box() const;
    QTreeView *view() const;
    QStandardItemModel *model() const;
    /// One row per text, which its column 0 shows; the window must be open.
    void fillTable(const QStringList &serialNumbers);
    /// The rows that are ticked.
    QList<int> tickedRows() const;

    /// What the mouse does.
    void clickBox();
    /// Sends from a port to the open window; returns when it has read all.
    void send(const QString &strPort, const QByteArray &baBytes);
    /// Has the port report an error, as it does itself.
    void report(QSerialPort::SerialPortError error);
    /// How often a signal of the port is connected to a slot of the window; takes them apart.
    int takeConnections(const char *pSignal, const char *pSlot);

private:
    QScopedPointer<EmulatedPorts> m_pPorts;
    QScopedPointer<MainWindow> m_pWindow;
};

/// The open descriptors of this process.
int openDescriptors();

#endif // TESTS_SUPPORT_READERTEST_H
