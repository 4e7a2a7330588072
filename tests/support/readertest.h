#ifndef TESTS_SUPPORT_READERWINDOW_H
#define TESTS_SUPPORT_READERWINDOW_H

#include <QByteArray>
#include <QScopedPointer>
#include <QStringList>

class EmulatedPorts;
class MainWindow;
class QCheckBox;
class QSerialPort;
class QStandardItemModel;
class QTreeView;

/// A machine with emulated ports and, from open() to close(), the window on it.
class ReaderWindow
{
public:
    ReaderWindow();
    ~ReaderWindow();
    ReaderWindow(const ReaderWindow &) = delete;
    ReaderWindow &operator=(const ReaderWindow &) = delete;

    EmulatedPorts *ports() const { return m_pPorts.data(); }
    /// Makes the window, which looks for a reader at once.
    void open();
    void close();
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
    /// How often a signal of the port is connected to a slot of the window; takes them apart.
    int takeConnections(const char *pSignal, const char *pSlot);

private:
    QScopedPointer<EmulatedPorts> m_pPorts;
    QScopedPointer<MainWindow> m_pWindow;
};

/// The open descriptors of this process.
int openDescriptors();

#endif // TESTS_SUPPORT_READERWINDOW_H
