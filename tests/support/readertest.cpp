// The window on a machine whose serial ports are emulated.

#include "readertest.h"

#include <QCheckBox>
#include <QDir>
#include <QMetaMethod>
#include <QSerialPort>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTreeView>

void ReaderTest::setUp()
{
    m_pPorts.reset(new EmulatedPorts);
    if (!EmulatedPorts::areVisibleHere())
        qFatal("emulated ports are seen under umockdev-wrapper only");
}

void ReaderTest::tearDown()
{
    closeWindow(); // before its ports go
    m_pPorts.reset();
}

QString ReaderTest::openWindowWithReader()
{
    QString strPort = ports()->plug();
    openWindow();
    if (!port()->isOpen())
        qFatal("the window did not open %s", qPrintable(strPort));
    clearInfoLog();
    return strPort;
}

QSerialPort *ReaderTest::port() const
{
    return m_pWindow->findChild<QSerialPort *>();
}

QCheckBox *ReaderTest::box() const
{
    return childOf<QCheckBox>(m_pWindow.data(), "barReaderFound");
}

QTreeView *ReaderTest::view() const
{
    return childOf<QTreeView>(m_pWindow.data(), "treeView");
}

QStandardItemModel *ReaderTest::model() const
{
    return qobject_cast<QStandardItemModel *>(view()->model());
}

void ReaderTest::fillTable(const QStringList &serialNumbers)
{
    model()->clear();
    for (const QString &strSerialNumber : serialNumbers) {
        auto *pItem = new QStandardItem(strSerialNumber);
        pItem->setCheckable(true);
        model()->appendRow(pItem);
    }
}

QList<int> ReaderTest::tickedRows() const
{
    QList<int> rows;
    for (int iRow = 0; iRow < model()->rowCount(); ++iRow) {
        if (model()->item(iRow)->checkState() == Qt::Checked)
            rows << iRow;
    }
    return rows;
}

void ReaderTest::clickBox()
{
    constexpr int OnTheMark = 8; // pixels from the box's left end
    QTest::mouseClick(box(), Qt::LeftButton, Qt::NoModifier,
                      QPoint(OnTheMark, box()->height() / 2));
}

void ReaderTest::send(const QString &strPort, const QByteArray &baBytes)
{
    // Connected after the window: when this hears of the bytes, the window has read them.
    QSignalSpy readyRead(port(), SIGNAL(readyRead()));
    m_pPorts->send(strPort, baBytes);
    if (!readyRead.wait() || port()->bytesAvailable() != 0)
        qFatal("the window did not read what %s sent", qPrintable(strPort));
}

void ReaderTest::report(QSerialPort::SerialPortError error)
{
    for (const char *pSignal : PortErrorSignals) {
        if (!QMetaObject::invokeMethod(port(), pSignal, Q_ARG(QSerialPort::SerialPortError, error)))
            qFatal("the port has no signal %s", pSignal);
    }
}

int ReaderTest::takeConnections(const char *pSignal, const char *pSlot)
{
    const int iSignal = QSerialPort::staticMetaObject.indexOfSignal(pSignal);
    const int iSlot = MainWindow::staticMetaObject.indexOfSlot(pSlot);
    if (iSignal < 0 || iSlot < 0)
        qFatal("there is no %s or no %s", pSignal, pSlot);
    int iConnections = 0;
    while (QMetaObject::disconnectOne(port(), iSignal, m_pWindow.data(), iSlot))
        ++iConnections;
    return iConnections;
}

int openDescriptors()
{
    return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size();
}
