#ifndef TESTS_SUPPORT_QTVERSIONS_H
#define TESTS_SUPPORT_QTVERSIONS_H

#include <QCoreApplication>
#include <QProcess>

#ifdef QT_SERIALPORT_LIB
#include <QSerialPort>
#endif
#ifdef QT_WIDGETS_LIB
#include <QAbstractItemView>
#include <QStyleOptionViewItem>
#endif

// What the tests have to know of Qt 5 and Qt 6: what the program does otherwise, as
// docs/building.md lists it, and what the tests have to ask for otherwise.

constexpr bool IsQt6 = QT_VERSION >= QT_VERSION_CHECK(6, 0, 0);

/// The encodings of a reply's body that each request offers to understand.
constexpr const char *AcceptedEncodings = IsQt6 ? "zstd, br, gzip, deflate" : "gzip, deflate";

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)

/// What the third argument of a native event filter points to.
using NativeResult = long;

inline bool screensMayBeDense()
{
    return QCoreApplication::testAttribute(Qt::AA_EnableHighDpiScaling) &&
           QCoreApplication::testAttribute(Qt::AA_UseHighDpiPixmaps);
}

/// A program that prepares itself when it is already a process of its own.
class PreparedProcess : public QProcess
{
public:
    explicit PreparedProcess(void (*pPrepare)()) : m_pPrepare(pPrepare) {}

protected:
    void setupChildProcess() override { m_pPrepare(); }

private:
    void (*m_pPrepare)();
};

#else

using NativeResult = qintptr;

inline bool screensMayBeDense()
{
    // They always may. This keeps the fonts from shrinking in a window that has grown.
    return qgetenv("QT_DPI_ADJUSTMENT_POLICY") == "AdjustUpOnly";
}

class PreparedProcess : public QProcess
{
public:
    explicit PreparedProcess(void (*pPrepare)()) { setChildProcessModifier(pPrepare); }
};

#endif

#ifdef QT_SERIALPORT_LIB
/// The signals by which the serial port reports an error, in its own order. The window listens to
/// the last one.
constexpr const char *PortErrorSignals[] = {
    "errorOccurred",
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    "error",
#endif
};
/// The signature of the last one.
constexpr const char *PortErrorSignature =
    IsQt6 ? "errorOccurred(QSerialPort::SerialPortError)" : "error(QSerialPort::SerialPortError)";

/// What the port calls the error that it still has to report when it has reported the unplugging.
constexpr QSerialPort::SerialPortError SecondErrorOfUnplugging =
    IsQt6 ? QSerialPort::ReadError : QSerialPort::ResourceError;
constexpr int ResourceErrorNumber = IsQt6 ? 6 : 9;
#endif

#ifdef QT_WIDGETS_LIB
/// With what the view has its cells drawn.
inline QStyleOptionViewItem viewOptions(const QAbstractItemView *pView)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    struct Members : QAbstractItemView
    {
        using QAbstractItemView::viewOptions;
    };
    return (pView->*(&Members::viewOptions))();
#else
    struct Members : QAbstractItemView
    {
        using QAbstractItemView::initViewItemOption;
    };
    QStyleOptionViewItem option;
    (pView->*(&Members::initViewItemOption))(&option);
    return option;
#endif
}
#endif

#endif // TESTS_SUPPORT_QTVERSIONS_H
