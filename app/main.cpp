// Starts the program: screen, identity, one window and what stands around it, the event loop.

#include "accessiblenames.h"
#include "keyboard.h"

#include "service/qtversions.h"
#include "window/mainwindow.h"

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QProcess>
#include <QTreeView>

#include <array>

namespace {
/// Opens the standard streams that are closed on nothing, as long as it lives. A program that is
/// started without them gives their numbers to what it opens first, which is the display's
/// connection: the log would be written into that.
class StandardStreams
{
public:
    StandardStreams()
    {
        for (QFile &stream : m_streams) {
            stream.setFileName(QProcess::nullDevice());
            if (stream.open(QIODevice::ReadWrite) && stream.handle() > LastNumber)
                stream.close(); // the lowest free number was none of theirs
        }
    }

private:
    static constexpr int LastNumber = 2;
    std::array<QFile, LastNumber + 1> m_streams;
};
} // namespace

int main(int argc, char *argv[])
{
    const StandardStreams streams;
    setUpDenseScreens(); // before the application object
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
