// The compiled-in files: all there, byte for byte as wanted, and lights that nobody mixes up.

#include <QColor>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QLocale>
#include <QPainter>
#include <QRegularExpression>
#include <QResource>
#include <QSet>
#include <QSslCertificate>
#include <QTest>
#include <QVector>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cmath>

// The resource compiler writes these two; no header declares them.
int qInitResources_myresources();
int qCleanupResources_myresources();

namespace {
using Matrix = std::array<double, 9>;

/// How a person sees, as a matrix on linear red, green and blue.
struct Vision
{
    const char *pName;
    Matrix matrix;
};

/// What lies behind an icon.
struct Row
{
    const char *pName;
    QRgb colour;
};

// The second and third: Machado, Oliveira and Fernandes (2009), one kind of cone missing.
constexpr std::array<Vision, 4> Visions{{
    {"all colours", {1, 0, 0, 0, 1, 0, 0, 0, 1}},
    {"deuteranopia",
     {0.367322, 0.860646, -0.227968, 0.280085, 0.672501, 0.047413, -0.011820, 0.042940, 0.968881}},
    {"protanopia",
     {0.152286, 1.052583, -0.204868, 0.114503, 0.786281, 0.099216, -0.003882, -0.048116, 1.051998}},
    {"grey only", {0.2126, 0.7152, 0.0722, 0.2126, 0.7152, 0.0722, 0.2126, 0.7152, 0.0722}},
}};

constexpr std::array<Row, 3> Rows{
    {{"white row", 0xffffffff}, {"dark row", 0xff2b2b2b}, {"selected row", 0xff308cc6}}};

const std::array<QString, 3> Lights{"greenlight", "yellowlight", "redlight"};

constexpr int IconSide = 16; // of a tree view's decoration

QByteArray content(const QString &strPath)
{
    QFile file(strPath);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The image as a tree view shows it, still with its transparency.
QImage smallIcon(const QString &strName)
{
    const QImage image(":/" + strName + ".png");
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied)
        .scaled(IconSide, IconSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

double linear(int iChannel)
{
    const double value = iChannel / 255.0;
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

double encoded(double value)
{
    value = qBound(0.0, value, 1.0);
    return 255 * (value <= 0.0031308 ? value * 12.92 : 1.055 * std::pow(value, 1 / 2.4) - 0.055);
}

/// The channels, 0 to 255, that a person sees for one pixel.
std::array<double, 3> seen(QRgb pixel, const Matrix &matrix)
{
    const double red = linear(qRed(pixel));
    const double green = linear(qGreen(pixel));
    const double blue = linear(qBlue(pixel));
    return {encoded(matrix[0] * red + matrix[1] * green + matrix[2] * blue),
            encoded(matrix[3] * red + matrix[4] * green + matrix[5] * blue),
            encoded(matrix[6] * red + matrix[7] * green + matrix[8] * blue)};
}

QImage onRow(const QImage &icon, QRgb colour)
{
    QImage image(icon.size(), QImage::Format_RGB32);
    image.fill(colour);
    QPainter(&image).drawImage(0, 0, icon);
    return image;
}

/// The mean distance of two pixels at the same place, 0 (same picture) to 441 (black and white).
double distanceSeen(const QImage &first, const QImage &second, const Matrix &matrix)
{
    double sum = 0;
    for (int y = 0; y < IconSide; ++y) {
        for (int x = 0; x < IconSide; ++x) {
            const auto one = seen(first.pixel(x, y), matrix);
            const auto other = seen(second.pixel(x, y), matrix);
            sum += std::hypot(one[0] - other[0], one[1] - other[1], one[2] - other[2]);
        }
    }
    return sum / (IconSide * IconSide);
}

/// How much of what two icons cover together only one covers, 0 to 1.
double outlineDifference(const QImage &first, const QImage &second)
{
    double differing = 0;
    double covered = 0;
    for (int y = 0; y < IconSide; ++y) {
        for (int x = 0; x < IconSide; ++x) {
            const int iOne = qAlpha(first.pixel(x, y));
            const int iOther = qAlpha(second.pixel(x, y));
            differing += std::abs(iOne - iOther);
            covered += std::max(iOne, iOther);
        }
    }
    return differing / covered;
}

/// Which pixels of an icon's inner half are the sign on its face, whatever the colours.
QVector<bool> sign(const QImage &icon)
{
    constexpr int Contrast = 40;
    QVector<int> greys;
    for (int y = IconSide / 4; y < IconSide * 3 / 4; ++y) {
        for (int x = IconSide / 4; x < IconSide * 3 / 4; ++x)
            greys.append(qGray(icon.pixel(x, y)));
    }
    QVector<int> sorted = greys;
    std::sort(sorted.begin(), sorted.end());
    const int iFace = sorted.at(sorted.size() / 2); // the sign covers less than half
    QVector<bool> marks;
    for (int iGrey : qAsConst(greys))
        marks.append(std::abs(iGrey - iFace) > Contrast);
    return marks;
}

/// The part of the inner half, 0 to 1, that is the sign in one icon only.
double signDifference(const QImage &first, const QImage &second)
{
    const QVector<bool> one = sign(first);
    const QVector<bool> other = sign(second);
    int iDiffering = 0;
    for (int i = 0; i < one.size(); ++i)
        iDiffering += one.at(i) != other.at(i) ? 1 : 0;
    return iDiffering / double(one.size());
}

struct Chunk
{
    QByteArray baType;
    QByteArray baData;
    bool bSumRight;
};

/// The check sum of a chunk: the reflected CRC-32 that PNG shares with zlib.
quint32 checkSum(const QByteArray &baBytes)
{
    quint32 sum = 0xffffffffU;
    for (char byte : baBytes) {
        sum ^= uchar(byte);
        for (int iBit = 0; iBit < 8; ++iBit)
            sum = (sum >> 1) ^ ((sum & 1U) != 0 ? 0xedb88320U : 0U);
    }
    return ~sum;
}

/// The chunks after the signature; what is cut short or left over becomes one of type "rest".
QVector<Chunk> chunksOf(const QByteArray &baFile)
{
    QVector<Chunk> chunks;
    int iAt = 8;
    while (iAt + 12 <= baFile.size()) {
        const auto length = qFromBigEndian<quint32>(baFile.constData() + iAt);
        if (length > quint32(baFile.size() - iAt - 12))
            break;
        const QByteArray baSummed = baFile.mid(iAt + 4, int(length) + 4);
        const auto sum = qFromBigEndian<quint32>(baFile.constData() + iAt + 8 + length);
        chunks.append({baSummed.left(4), baSummed.mid(4), sum == checkSum(baSummed)});
        iAt += int(length) + 12;
    }
    if (iAt != baFile.size())
        chunks.append({"rest", baFile.mid(iAt), false});
    return chunks;
}

int indexOf(const QVector<Chunk> &chunks, const QByteArray &baType)
{
    const auto found = std::find_if(chunks.begin(), chunks.end(),
                                    [&](const Chunk &chunk) { return chunk.baType == baType; });
    return found == chunks.end() ? -1 : int(found - chunks.begin());
}

/// A name in a certificate, as "C=..., O=..., OU=..., CN=..." without the absent ones.
template <typename Info>
QString distinguishedName(const QList<QByteArray> &present, Info info)
{
    const QList<QByteArray> order{"C", "O", "OU", "CN"};
    QStringList texts;
    for (const QByteArray &baKey : order) {
        for (const QString &strValue : info(baKey))
            texts << baKey + '=' + strValue;
    }
    for (const QByteArray &baKey : present) {
        if (!order.contains(baKey))
            texts << baKey + "=?";
    }
    return texts.join(", ");
}

QString subjectOf(const QSslCertificate &certificate)
{
    return distinguishedName(certificate.subjectInfoAttributes(), [&](const QByteArray &baKey) {
        return certificate.subjectInfo(baKey);
    });
}

QString issuerOf(const QSslCertificate &certificate)
{
    return distinguishedName(certificate.issuerInfoAttributes(), [&](const QByteArray &baKey) {
        return certificate.issuerInfo(baKey);
    });
}

QDateTime utc(const QString &strText)
{
    QDateTime time = QDateTime::fromString(strText, "yyyy-MM-dd HH:mm:ss");
    time.setTimeSpec(Qt::UTC);
    return time;
}

QStringList namesOfAll()
{
    return {"GeoTrustGlobalCA.pem", "RapidSSL_SHA256_CA-G3.pem",
            "greenlight.png",       "redlight.png",
            "refresh.png",          "yellowlight.png"};
}

QSet<QString> wholeTree()
{
    QSet<QString> paths;
    QDirIterator entries(":/", QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext())
        paths.insert(entries.next());
    return paths;
}

void addFileRows()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("length");
    QTest::newRow("level 1 certificate") << ":/GeoTrustGlobalCA.pem" << 1269;
    QTest::newRow("level 2 certificate") << ":/RapidSSL_SHA256_CA-G3.pem" << 1497;
    QTest::newRow("green light") << ":/greenlight.png" << 3284;
    QTest::newRow("yellow light") << ":/yellowlight.png" << 3243;
    QTest::newRow("red light") << ":/redlight.png" << 3450;
    QTest::newRow("refresh symbol") << ":/refresh.png" << 3947;
}

void addIconRows()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("side");
    QTest::newRow("green light") << ":/greenlight.png" << 120;
    QTest::newRow("yellow light") << ":/yellowlight.png" << 120;
    QTest::newRow("red light, larger than the others") << ":/redlight.png" << 128;
    QTest::newRow("refresh symbol") << ":/refresh.png" << 256;
}
} // namespace

class TestResources : public QObject
{
    Q_OBJECT
private slots:
    void rootHoldsTheseFilesOnly()
    {
        // Folders there are the framework's own; its modules bring different ones.
        QCOMPARE(QDir(":/").entryList(QDir::Files | QDir::Hidden, QDir::Name), namesOfAll());
    }

    void length_data() { addFileRows(); }
    void length()
    {
        QFETCH(QString, path);
        QFETCH(int, length);
        QVERIFY(QFile::exists(path));
        QCOMPARE(content(path).size(), length);
    }

    void storedAsIs_data() { addFileRows(); }
    void storedAsIs()
    {
        QFETCH(QString, path);
        QFETCH(int, length);
        const QResource resource(path);
        QVERIFY(resource.isValid());
        QCOMPARE(resource.size(), qint64(length));
#if QT_VERSION >= QT_VERSION_CHECK(5, 13, 0)
        QCOMPARE(resource.compressionAlgorithm(), QResource::NoCompression);
#else
        QVERIFY(!resource.isCompressed());
#endif
    }

    void sameInEveryLocale_data()
    {
        addFileRows();
    }
    void sameInEveryLocale()
    {
        QFETCH(QString, path);
        const QResource plain(path, QLocale::c());
        QVERIFY(plain.isValid());
        const QList<QLocale> locales =
            QLocale::matchingLocales(QLocale::AnyLanguage, QLocale::AnyScript, QLocale::AnyCountry);
        QVERIFY(locales.size() > 100);
        for (const QLocale &locale : locales) {
            const QResource resource(path, locale);
            // The very same place in memory: no second variant at all.
            QVERIFY2(resource.data() == plain.data(), qPrintable(locale.name()));
        }
    }

    void pngStructure_data()
    {
        addIconRows();
    }
    void pngStructure()
    {
        QFETCH(QString, path);
        QFETCH(int, side);
        const QByteArray baFile = content(path);
        QCOMPARE(baFile.left(8), QByteArray("\x89PNG\r\n\x1a\n"));
        const QVector<Chunk> chunks = chunksOf(baFile);
        QVERIFY(!chunks.isEmpty());
        for (const Chunk &chunk : chunks)
            QVERIFY2(chunk.bSumRight, chunk.baType.constData());

        QCOMPARE(chunks.first().baType, QByteArray("IHDR"));
        const QByteArray baHeader = chunks.first().baData;
        QCOMPARE(baHeader.size(), 13);
        QCOMPARE(qFromBigEndian<quint32>(baHeader.constData()), quint32(side));
        QCOMPARE(qFromBigEndian<quint32>(baHeader.constData() + 4), quint32(side));
        QCOMPARE(int(baHeader.at(8)), 8);  // bits for each pixel
        QCOMPARE(int(baHeader.at(9)), 3);  // with a palette
        QCOMPARE(int(baHeader.at(12)), 0); // not interlaced

        // The framework would keep a text with each decoded picture.
        QCOMPARE(QImage(path).textKeys(), QStringList());

        const int iPalette = indexOf(chunks, "PLTE");
        const int iTransparency = indexOf(chunks, "tRNS");
        const int iPixels = indexOf(chunks, "IDAT");
        QVERIFY(iPalette > 0);
        QVERIFY(iTransparency > iPalette);
        QVERIFY(iPixels > iTransparency);
        const int iColours = chunks.at(iPalette).baData.size() / 3;
        QCOMPARE(chunks.at(iPalette).baData.size(), iColours * 3);
        QVERIFY(iColours >= 1 && iColours <= 256);
        QVERIFY(chunks.at(iTransparency).baData.size() <= iColours);
        QCOMPARE(chunks.last().baType, QByteArray("IEND"));
    }

    void imageHasClearCorners_data()
    {
        addIconRows();
    }
    void imageHasClearCorners()
    {
        QFETCH(QString, path);
        QFETCH(int, side);
        const QImage image(path);
        QCOMPARE(image.size(), QSize(side, side));
        QVERIFY(image.hasAlphaChannel());
        for (int y : {0, side - 1}) {
            for (int x : {0, side - 1})
                QCOMPARE(qAlpha(image.pixel(x, y)), 0);
        }
    }

    void lightHasItsColour_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("hue");
        QTest::newRow("green") << "greenlight" << 135;
        QTest::newRow("yellow") << "yellowlight" << 48;
        QTest::newRow("red, at both ends of the circle") << "redlight" << 0;
    }

    void lightHasItsColour()
    {
        QFETCH(QString, name);
        QFETCH(int, hue);
        const QImage icon = smallIcon(name);
        int iStrong = 0;
        int iNear = 0;
        for (int y = 0; y < IconSide; ++y) {
            for (int x = 0; x < IconSide; ++x) {
                const QColor colour = icon.pixelColor(x, y);
                if (colour.alpha() < 255 || colour.hsvSaturation() < 100)
                    continue; // the sign or the edge
                const int iApart = std::abs(colour.hsvHue() - hue);
                ++iStrong;
                iNear += std::min(iApart, 360 - iApart) <= 20 ? 1 : 0;
            }
        }
        QVERIFY2(iStrong >= 80, qPrintable(QString::number(iStrong)));
        QVERIFY2(iNear >= iStrong * 9 / 10, qPrintable(QString::number(iNear)));
    }

    void lightsDifferInColour_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::addColumn<int>("vision");
        QTest::addColumn<uint>("row");
        for (size_t i = 0; i < Lights.size(); ++i) {
            const QString &strFirst = Lights.at(i);
            const QString &strSecond = Lights.at((i + 1) % Lights.size());
            for (size_t v = 0; v < Visions.size(); ++v) {
                for (const Row &row : Rows) {
                    QTest::addRow("%s and %s, %s, %s", qPrintable(strFirst), qPrintable(strSecond),
                                  Visions.at(v).pName, row.pName)
                        << strFirst << strSecond << int(v) << row.colour;
                }
            }
        }
    }

    void lightsDifferInColour()
    {
        QFETCH(QString, first);
        QFETCH(QString, second);
        QFETCH(int, vision);
        QFETCH(uint, row);
        const double distance =
            distanceSeen(onRow(smallIcon(first), row), onRow(smallIcon(second), row),
                         Visions.at(size_t(vision)).matrix);
        QVERIFY2(distance > 50, qPrintable(QString::number(distance)));
    }

    void lightsDifferInShape_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::addColumn<double>("outline");
        QTest::newRow("disc and diamond") << "greenlight"
                                          << "yellowlight" << 0.2;
        QTest::newRow("diamond and octagon") << "yellowlight"
                                             << "redlight" << 0.2;
        QTest::newRow("disc and octagon, both round") << "greenlight"
                                                      << "redlight" << 0.05;
    }

    /// What is left where colours do not help at all.
    void lightsDifferInShape()
    {
        QFETCH(QString, first);
        QFETCH(QString, second);
        QFETCH(double, outline);
        const double outlines = outlineDifference(smallIcon(first), smallIcon(second));
        const double signs = signDifference(smallIcon(first), smallIcon(second));
        QVERIFY2(outlines > outline, qPrintable(QString::number(outlines)));
        QVERIFY2(signs > 0.2, qPrintable(QString::number(signs)));
    }

    void certificate_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("lines");
        QTest::addColumn<int>("derLength");
        QTest::addColumn<QByteArray>("derSum");
        QTest::addColumn<QString>("subject");
        QTest::addColumn<QString>("issuer");
        QTest::addColumn<QByteArray>("serial");
        QTest::addColumn<QDateTime>("from");
        QTest::addColumn<QDateTime>("until");
        QTest::newRow("level 1, cross-signed")
            << ":/GeoTrustGlobalCA.pem" << 21 << 897
            << QByteArray("3c35cc963eb004451323d3275d05b353235053490d9cd83729a2faf5e7ca1cc0")
            << "C=US, O=GeoTrust Inc., CN=GeoTrust Global CA"
            << "C=US, O=Equifax, OU=Equifax Secure Certificate Authority" << QByteArray("12:bb:e6")
            << utc("2002-05-21 04:00:00") << utc("2018-08-21 04:00:00");
        QTest::newRow("level 2, intermediate")
            << ":/RapidSSL_SHA256_CA-G3.pem" << 25 << 1065
            << QByteArray("bc3f03a436240edba5f83714f6f677e34b37f9b1f0c08c1e558d981e279e8209")
            << "C=US, O=GeoTrust Inc., CN=RapidSSL SHA256 CA - G3"
            << "C=US, O=GeoTrust Inc., CN=GeoTrust Global CA" << QByteArray("02:3a:77")
            << utc("2014-08-29 21:39:32") << utc("2022-05-20 21:39:32");
    }

    void certificate()
    {
        QFETCH(QString, path);
        const QByteArray baPem = content(path);
        QTEST(int(baPem.count('\n')), "lines");
        QVERIFY(baPem.endsWith("-----END CERTIFICATE-----\n"));
        QVERIFY(baPem.startsWith("-----BEGIN CERTIFICATE-----\n"));
        QVERIFY(!baPem.contains('\r'));
        QCOMPARE(baPem.count("-----BEGIN"), 1);
        QCOMPARE(baPem.count("-----END"), 1);

        QList<QByteArray> lines = baPem.trimmed().split('\n');
        lines.removeFirst();
        lines.removeLast();
        const QByteArray baDer = QByteArray::fromBase64(lines.join());
        QFETCH(int, derLength);
        QCOMPARE(baDer.size(), derLength);
        QTEST(QCryptographicHash::hash(baDer, QCryptographicHash::Sha256).toHex(), "derSum");

        const QList<QSslCertificate> found = QSslCertificate::fromData(baPem, QSsl::Pem);
        QCOMPARE(found.size(), 1);
        QCOMPARE(found.first().toDer(), baDer);
        QTEST(subjectOf(found.first()), "subject");
        QTEST(issuerOf(found.first()), "issuer");
        QTEST(found.first().serialNumber(), "serial");
        QTEST(found.first().effectiveDate(), "from");
        QTEST(found.first().expiryDate(), "until");
    }

    void certificatesFormOneChain()
    {
        const QSslCertificate level1(content(":/GeoTrustGlobalCA.pem"), QSsl::Pem);
        const QSslCertificate level2(content(":/RapidSSL_SHA256_CA-G3.pem"), QSsl::Pem);
        QVERIFY(!level1.isNull());
        QVERIFY(!level1.isSelfSigned());
        QCOMPARE(issuerOf(level2), subjectOf(level1));
        QVERIFY(subjectOf(level2) != subjectOf(level1));
    }

    void bundleCanBeTakenOutAndPutBack()
    {
        const QSet<QString> before = wholeTree();

        // No check in between: a failing one would leave the process without its files.
        const int iOut = qCleanupResources_myresources();
        const bool bPresentWhileOut = QFile::exists(":/refresh.png");
        const QSet<QString> whileOut = wholeTree();
        const int iIn = qInitResources_myresources();

        QCOMPARE(iOut, 1);
        QVERIFY(!bPresentWhileOut);
        // What went away is all there is in the bundle, in sub-folders too.
        QStringList gone = (before - whileOut).values();
        gone.sort();
        QStringList paths = namesOfAll();
        paths.replaceInStrings(QRegularExpression("^"), ":/");
        QCOMPARE(gone, paths);
        QCOMPARE(iIn, 1);
        QCOMPARE(wholeTree(), before);
        QCOMPARE(content(":/refresh.png").size(), 3947);
    }
};

QTEST_GUILESS_MAIN(TestResources)
#include "tst_resources.moc"
