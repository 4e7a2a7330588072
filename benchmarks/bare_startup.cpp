// What the program is compared with as it starts: a main that makes the framework's calls that no
// such program can leave out, in the same order, and does nothing with what comes of them.
//
// In it are the application object with its two attributes, the identity and the icon; the form,
// for what is in it is given; the two buttons that no form holds; the model that the table shows;
// the search for serial ports, which opens the system's device library; the two trust anchors, for
// the first of which the framework loads its TLS library; the network manager; the settings and
// the one value that is read from them.
//
// Not in it is all of the program's own: the window's class and its connections, the ways of the
// keyboard and the names for screen readers, the delegate, the traces, and the standard streams.

#include "ui_mainwindow.h"

#include "service/qtversions.h"

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QSerialPort>
#include <QSerialPortInfo>
#include <QSettings>
#include <QSslCertificate>
#include <QStandardItemModel>

namespace {
void addTrustAnchorOf(const QString &strFile)
{
    QFile file(strFile);
    file.open(QIODevice::ReadOnly);
    addTrustAnchor(QSslCertificate(&file, QSsl::Pem));
}

void addSelectionButton(const QString &strText, QMainWindow *pWindow, QDialogButtonBox *pBox)
{
    pBox->addButton(new QPushButton(strText, pWindow), QDialogButtonBox::ActionRole);
}
} // namespace

int main(int argc, char *argv[])
{
    setUpDenseScreens();
    const QApplication app(argc, argv);
    QCoreApplication::setOrganizationName("Quillmora");
    QCoreApplication::setOrganizationDomain("quillmora.example");
    QGuiApplication::setDesktopFileName("example.quillmora.veltrano");
    QApplication::setWindowIcon(QIcon::fromTheme(QGuiApplication::desktopFileName()));

    QMainWindow window;
    Ui::MainWindow form;
    form.setupUi(&window);
    new QSerialPort(&window);
    form.treeView->setModel(new QStandardItemModel(&window));
    addSelectionButton("Select All", &window, form.selectionBox);
    addSelectionButton("Select none", &window, form.selectionBox);
    addTrustAnchorOf(":/GeoTrustGlobalCA.pem");
    addTrustAnchorOf(":/RapidSSL_SHA256_CA-G3.pem");
    new QNetworkAccessManager(&window);
    const auto *pSettings = new QSettings(&window);
    form.userLineEdit->setText(pSettings->value("lastuser", QVariant()).toString());
    form.progressBar->hide();
    QSerialPortInfo::availablePorts();
    window.show();
    return QApplication::exec();
}
