// The end of a test's own process: network threads are waited for until nothing of them is left.

#include "quiettest.h"

#include "window/mainwindow.h"

#include <QAbstractButton>
#include <QAtomicInt>
#include <QFileInfo>
#include <QSemaphore>
#include <QThread>

namespace {
constexpr int LimitMs = 10000;
constexpr int ShortMs = 50;

/// Keeps its thread busy after the thread's own code has ended, until it is told to let go.
struct ThreadLocal
{
    ThreadLocal(QSemaphore *pLetGo, QAtomicInt *pGone) : m_pLetGo(pLetGo), m_pGone(pGone) {}
    ~ThreadLocal()
    {
        m_pLetGo->acquire();
        m_pGone->storeRelease(1);
    }
    ThreadLocal(const ThreadLocal &) = delete;
    ThreadLocal &operator=(const ThreadLocal &) = delete;

    QSemaphore *m_pLetGo;
    QAtomicInt *m_pGone;
};

/// A thread that the system cannot tell from a network manager's.
class LateThread : public QThread
{
    Q_OBJECT

public:
    LateThread() { setObjectName("QNetworkAccessManager thread"); }

    QSemaphore m_letGo;
    QAtomicInt m_gone{0};

protected:
    void run() override { thread_local const ThreadLocal last(&m_letGo, &m_gone); }
};
} // namespace

class TestExit : public QuietTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void managersThread();
    void threadLocalObjects();
};

void TestExit::initTestCase()
{
    if (!QFileInfo::exists("/proc/self/task"))
        QSKIP("this system does not list its threads", ); // clang wants the second argument
}

/// The framework's thread has the name that is looked for.
void TestExit::managersThread()
{
    QVERIFY(networkThreadsEnd(0));
    MainWindow window;
    childOf<QAbstractButton>(&window, "buttonRefresh")->click(); // to a port where nobody listens
    QTRY_VERIFY(!networkThreadsEnd(0));
}

void TestExit::threadLocalObjects()
{
    QVERIFY(networkThreadsEnd(LimitMs));
    LateThread thread;
    thread.start();
    QVERIFY(thread.wait());
    QVERIFY(thread.isFinished()); // but only for the framework
    QVERIFY(!networkThreadsEnd(ShortMs));
    QCOMPARE(thread.m_gone.loadAcquire(), 0);

    thread.m_letGo.release();
    QVERIFY(networkThreadsEnd(LimitMs));
    QCOMPARE(thread.m_gone.loadAcquire(), 1);
}

VELTRANO_TEST_MAIN(TestExit)
#include "tst_exit.moc"
