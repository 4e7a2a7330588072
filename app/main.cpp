// Starts the program: screen, identity, one window and what stands around it, the event loop.

#include "accessiblenames.h"
#include "keyboard.h"

#include "window/mainwindow.h"

#include <QApplication>
#include <QIcon>
#include <QTreeView>

int main(int argc, char *argv[])
{
    // Both before the application object. Without them the fonts grow on a dense screen and the
    // window does not, and what is in it is cut.
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    const QApplication app(argc, argv);
    // Both before the window: its settings store takes its place on disk from them.
    QCoreApplication::setOrganizationName("Quillmora");
    QCoreApplication::setOrganizationDomain("quillmora.example");
    // What ties the window to the installed menu entry, its name and its icon.
    QGuiApplication::setDesktopFileName("example.quillmora.veltrano");
    QApplication::setWindowIcon(QIcon::fromTheme(QGuiApplication::desktopFileName()));

    MainWindow window;
    setAccessibleNames(&window);
    completeTabOrder(&window);
    new OperatorKeys(window.findChild<QTreeView *>());
    window.show();
    setStartFocus(&window);
    return QApplication::exec();
}
