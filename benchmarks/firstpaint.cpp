// Linked into a program, says on standard output when its first window is painted, and ends it.

#include <QCoreApplication>
#include <QEvent>
#include <QMetaObject>

#include <cstdio>
#include <cstdlib>

namespace {
class FirstPaint : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject *pWatched, QEvent *pEvent) override
    {
        if (pEvent->type() == QEvent::Paint) {
            QCoreApplication::instance()->removeEventFilter(this);
            // Queued: the paint itself is still to come, and so are those of the other widgets.
            QMetaObject::invokeMethod(this, &FirstPaint::report, Qt::QueuedConnection);
        }
        return QObject::eventFilter(pWatched, pEvent);
    }

private:
    void report()
    {
        std::puts("painted");
        std::fflush(stdout);
        std::_Exit(0); // how it ends is not measured
    }
};

void watchApplication()
{
    auto *pApplication = QCoreApplication::instance();
    pApplication->installEventFilter(new FirstPaint(pApplication));
}
} // namespace

Q_COREAPP_STARTUP_FUNCTION(watchApplication)
