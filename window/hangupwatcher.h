#ifndef WINDOW_HANGUPWATCHER_H
#define WINDOW_HANGUPWATCHER_H

#include <QObject>
#include <QSerialPort>

/// Makes a port report the unplugging of its device, as a resource error.
///
/// On Linux a port whose line was hung up reads nothing, and the framework makes a read error of
/// that, which it repeats as fast as it can, for good. This object looks at the line on every read
/// error; if it is gone, the port's error signal is emitted with the resource error inside the
/// emission of the read error. Whoever closes the port then, as with a resource error that the
/// framework itself reports, ends the repetition.
class HangUpWatcher : public QObject
{
    Q_OBJECT

public:
    /// The watcher becomes the port's child. Make it before anyone connects to the port's errors:
    /// then the first that the others hear is the resource error.
    explicit HangUpWatcher(QSerialPort *pPort);

private slots:
    void onPortError(QSerialPort::SerialPortError portError);

private:
    QSerialPort *m_pPort; // the parent
};

#endif // WINDOW_HANGUPWATCHER_H
