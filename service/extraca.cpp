// The trust anchors of a service under a private CA, where the build names such a CA.

#include "extraca.h"

#include <QList>
#include <QSslCertificate>

#ifdef VELTRANO_WITH_EXTRA_CA
#include <QFile>
#endif

QList<QSslCertificate> extraCaCertificates()
{
#ifdef VELTRANO_WITH_EXTRA_CA
    QFile file(":/extra-ca.pem");
    file.open(QIODevice::ReadOnly);
    return QSslCertificate::fromDevice(&file, QSsl::Pem);
#else
    return {};
#endif
}
