#ifndef WINDOW_HANGUPS_H
#define WINDOW_HANGUPS_H

class QSerialPort;

/// Makes the port report the unplugging of its device, as the framework's own resource error.
///
/// On Linux a port whose line was hung up reads nothing, and the framework makes a read error of
/// that, which it repeats as fast as it can, for good. From now on each read error of the open port
/// has the line tried once more, by a setting that it already has: a line that is gone refuses it
/// with a resource error, inside the report of the read error; one that is there does not notice.
void reportHangUps(QSerialPort *pPort);

#endif // WINDOW_HANGUPS_H
