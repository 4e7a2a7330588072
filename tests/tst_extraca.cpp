// The build's own CA certificates, in a program that has some and in one that has none.

#include "service/extraca.h"

#include <QCoreApplication>
#include <QFile>
#include <QList>
#include <QSslCertificate>
#include <QTest>

namespace {
/// The certificates that the build of this test was given.
QList<QSslCertificate> given()
{
    QList<QSslCertificate> certificates;
    QStringList paths = QString(CERTIFICATES_GIVEN).split(';');
    paths.removeAll(QString());
    for (const QString &strPath : qAsConst(paths)) {
        QFile file(strPath);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("no file %s", qPrintable(strPath));
        certificates << QSslCertificate(&file, QSsl::Pem);
    }
    return certificates;
}

QByteArray ownProgram()
{
    QFile file(QCoreApplication::applicationFilePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

class TestExtraCa : public QObject
{
    Q_OBJECT

private slots:
    void certificatesInTheOrderOfTheFile()
    {
        QVERIFY(!given().contains(QSslCertificate()));
        QCOMPARE(extraCaCertificates(), given());
        QCOMPARE(extraCaCertificates(), given()); // as often as it is asked
    }

    void traceInTheProgram()
    {
        // Put together here, or the test would find its own text.
        const QByteArray baName = QByteArray("extra") + "-ca";
        QVERIFY(ownProgram().size() > 1000);
        QCOMPARE(ownProgram().contains(":/" + baName + ".pem"), !given().isEmpty());
        QCOMPARE(QFile::exists(":/" + baName + ".pem"), !given().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestExtraCa)
#include "tst_extraca.moc"
