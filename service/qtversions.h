#ifndef SERVICE_QTVERSIONS_H
#define SERVICE_QTVERSIONS_H

class QNetworkRequest;
class QSslCertificate;

// Where Qt 5 and Qt 6 have to be asked differently for the same; nothing else in the program knows
// which of them it is built with.

/// Lets the window and its pictures grow with the fonts of a dense screen, by whole factors only.
/// Call it before the application object is made.
void setUpDenseScreens();

/// Trusts the certificate from now on, besides the system's own roots, which stay in force. A null
/// one does no harm. It counts for the requests that setUpTransport() saw.
void addTrustAnchor(const QSslCertificate &certificate);

/// Makes a request travel by HTTP/1.1, over a connection that has the anchors above, and its reply
/// arrive however long it is.
void setUpTransport(QNetworkRequest *pRequest);

/// The serial port's signal that carries a QSerialPort::SerialPortError, for a string connection.
const char *portErrorSignal();

#endif // SERVICE_QTVERSIONS_H
