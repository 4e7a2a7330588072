// Starts the program: the identity that its settings are kept under, one window, the event loop.

#include "window/mainwindow.h"

#include <QApplication>
#include <QIcon>

int main(int argc, char *argv[])
{
    const QApplication app(argc, argv);
    // Both before the window: its settings store takes its place on disk from them.
    QCoreApplication::setOrganizationName("Quillmora");
    QCoreApplication::setOrganizationDomain("quillmora.example");
    // What ties the window to the installed menu entry, its name and its icon.
    QGuiApplication::setDesktopFileName("example.quillmora.veltrano");
    QApplication::setWindowIcon(QIcon::fromTheme(QGuiApplication::desktopFileName()));

    MainWindow window;
    window.show();
    return QApplication::exec();
}
