// The TLS trust anchors that the program brings along.

#include "mainwindow.h"

#include "service/extraca.h"
#include "service/qtversions.h"

#include <QDebug>
#include <QFile>
#include <QMessageBox>
#include <QSslCertificate>

namespace {
const char *const WarningTitle = "Veltrano";
} // namespace

void MainWindow::SetupCertificates()
{
    QFile level1(":/GeoTrustGlobalCA.pem");
    if (!level1.open(QIODevice::ReadOnly))
        QMessageBox::warning(this, WarningTitle, tr("Could not read Level 1 certificate!"));
    QFile level2(":/RapidSSL_SHA256_CA-G3.pem");
    if (!level2.open(QIODevice::ReadOnly))
        QMessageBox::warning(this, WarningTitle, tr("Could not read Level 2 certificate!"));

    const QSslCertificate certificate1(&level1, QSsl::Pem);
    const QSslCertificate certificate2(&level2, QSsl::Pem);
    if (certificate1.isNull())
        QMessageBox::warning(this, WarningTitle, tr("SSL certificates not loaded."));

    qInfo() << "step2";
    // A null certificate in the set does no harm.
    addTrustAnchor(certificate1);
    addTrustAnchor(certificate2);
    const QList<QSslCertificate> extraCertificates = extraCaCertificates();
    for (const QSslCertificate &certificate : extraCertificates)
        addTrustAnchor(certificate);
}
