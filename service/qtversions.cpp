// Where Qt 5 and Qt 6 have to be asked differently for the same.

#include "qtversions.h"

#include <QGuiApplication>
#include <QNetworkRequest>
#include <QObject>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslSocket>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)

void setUpDenseScreens()
{
    // Without them the fonts grow and the window does not, and what is in it is cut.
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
}

void addTrustAnchor(const QSslCertificate &certificate)
{
    // Deprecated, but the only call that leaves the system's own roots in force: they are looked up
    // on demand, and setting a default configuration switches that off.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    QSslSocket::addDefaultCaCertificate(certificate);
    QT_WARNING_POP
}

void setUpTransport(QNetworkRequest *) {}

const char *portErrorSignal()
{
    return SIGNAL(error(QSerialPort::SerialPortError));
}

#else

namespace {
constexpr qint64 NoLimit = -1;
} // namespace

void setUpDenseScreens()
{
    // What it does by itself but for the factor, which it would take as it comes: 1.04 at 100 dpi.
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::Round);
    // Where that factor is larger than the desktop's, 2 at 144 dpi, it would make up for it in the
    // texts alone, which get too small for the window. There is no other way to say so.
    if (!qEnvironmentVariableIsSet("QT_DPI_ADJUSTMENT_POLICY"))
        qputenv("QT_DPI_ADJUSTMENT_POLICY", "AdjustUpOnly");
}

void addTrustAnchor(const QSslCertificate &certificate)
{
    // From here on the default configuration itself no longer has the system's roots looked up; a
    // socket that was given none has, and takes its anchors from this one.
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    if (configuration.caCertificates().contains(certificate))
        return;
    configuration.addCaCertificate(certificate);
    QSslConfiguration::setDefaultConfiguration(configuration);
}

void setUpTransport(QNetworkRequest *pRequest)
{
    // A null configuration is not handed to the socket. Without it the request would take a copy of
    // the default one, which switches the search for the system's roots off.
    pRequest->setSslConfiguration(QSslConfiguration());
    pRequest->setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    // It takes a body of more than 10 MB that was packed well for an attack, and shows nothing of
    // it: a list of many trackers is such a body.
    pRequest->setDecompressedSafetyCheckThreshold(NoLimit);
}

const char *portErrorSignal()
{
    return SIGNAL(errorOccurred(QSerialPort::SerialPortError));
}

#endif
