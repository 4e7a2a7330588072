// The window on a machine whose serial ports are emulated.

#include "readerwindow.h"

#include "emulatedreader.h"
#include "windowtest.h"

#include "window/mainwindow.h"

#include <QCheckBox>
#include <QDir>
#include <QMetaMethod>
#include <QSerialPort>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTreeView>

ReaderWindow::ReaderWindow() : m_pPorts(new EmulatedPorts)
{
    if (!EmulatedPorts::areVisibleHere())
        qFatal("emulated ports are seen under umockdev-wrapper only");
}

ReaderWindow::~ReaderWindow()
{
    close(); // before its ports go
}

void ReaderWindow::open()
{
    m_pWindow.reset(new MainWindow);
}

void ReaderWindow::close()
{
    m_pWindow.reset();
}

QSerialPort *ReaderWindow::port() const
{
    return m_pWindow->findChild<QSerialPort *>();
}

QCheckBox *ReaderWindow::box() const
{
    return childOf<QCheckBox>(m_pWindow.data(), "barReaderFound");
}

QTreeView *ReaderWindow::view() const
{
    return childOf<QTreeView>(m_pWindow.data(), "treeView");
}

QStandardItemModel *ReaderWindow::model() const
{
    return qobject_cast<QStandardItemModel *>(view()->model());
}

void ReaderWindow::fillTable(const QStringList &serialNumbers)
{
    model()->clear();
    for (const QString &strSerialNumber : serialNumbers) {
        auto *pItem = new QStandardItem(strSerialNumber);
        pItem->setCheckable(true);
        model()->appendRow(pItem);
    }
}

QList<int> ReaderWindow::tickedRows() const
{
    QList<int> rows;
    for (int iRow = 0; iRow < model()->rowCount(); ++iRow) {
        if (model()->item(iRow)->checkState() == Qt::Checked)
            rows << iRow;
    }
    return rows;
}

void ReaderWindow::clickBox()
{
    constexpr int OnTheMark = 8; // pixels from the box's left end
    QTest::mouseClick(box(), Qt::LeftButton, Qt::NoModifier,
                      QPoint(OnTheMark, box()->height() / 2));
}

void ReaderWindow::send(const QString &strPort, const QByteArray &baBytes)
{
    // Connected after the window: when this hears of the bytes, the window has read them.
    QSignalSpy readyRead(port(), SIGNAL(readyRead()));
    m_pPorts->send(strPort, baBytes);
    if (!readyRead.wait() || port()->bytesAvailable() != 0)
        qFatal("the window did not read what %s sent", qPrintable(strPort));
}

int ReaderWindow::takeConnections(const char *pSignal, const char *pSlot)
{
    const int iSignal = QSerialPort::staticMetaObject.indexOfSignal(pSignal);
    const int iSlot = MainWindow::staticMetaObject.indexOfSlot(pSlot);
    int iConnections = 0;
    while (QMetaObject::disconnectOne(port(), iSignal, m_pWindow.data(), iSlot))
        ++iConnections;
    return iConnections;
}

int openDescriptors()
{
    return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size();
}
