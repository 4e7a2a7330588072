// The service's host and CA where they are known only when the program starts: beside the program's
// own objects, in place of what a build decides.

#include "service/extraca.h"
#include "service/servicehost.h"

#include <QFile>
#include <QList>
#include <QSslCertificate>
#include <QString>

QString serviceHost()
{
    return qEnvironmentVariable("VELTRANO_TEST_HOST");
}

QList<QSslCertificate> extraCaCertificates()
{
    QFile file(qEnvironmentVariable("VELTRANO_TEST_CA"));
    file.open(QIODevice::ReadOnly);
    return QSslCertificate::fromDevice(&file, QSsl::Pem);
}
