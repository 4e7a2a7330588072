// What a window keeps that works all day: as much after the thousandth rebuilt table as before.

#include "servedtest.h"

#include <QPixmapCache>
#include <QSignalSpy>

#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__)
// As the sanitizer's allocator_interface.h, which not every compiler's package holds.
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#elif defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {
constexpr int Trackers = 20;
constexpr int FewRebuilds = 100;
constexpr int ManyRebuilds = 1000;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool HeapIsCounted = true;

qint64 heapInUse() // bytes
{
    return qint64(__sanitizer_get_current_allocated_bytes());
}
#elif defined(__GLIBC__)
constexpr bool HeapIsCounted = true;

qint64 heapInUse()
{
    const struct mallinfo2 heap = mallinfo2();
    return qint64(heap.uordblks) + qint64(heap.hblkhd);
}
#else
constexpr bool HeapIsCounted = false;

qint64 heapInUse()
{
    return 0;
}
#endif

/// Of every light, with and without periods.
QByteArray trackers()
{
    const QList<QByteArray> kinds{
        R"("state":"A","activations":[{"id":"1","startTime":"a","endTime":"b","done":"0"}])",
        R"("state":"B","activations":[{"id":"2","startTime":"a","endTime":"b","done":"0"}])",
        R"("state":null,"p":"E","groups":[{"id":"7"},{"id":"9"}])",
    };
    QByteArray baTrackers;
    for (int i = 0; i < Trackers; ++i) {
        baTrackers += baTrackers.isEmpty() ? "{" : ",{";
        baTrackers += R"("deviceSn":")" + QByteArray::number(1000000 + i) + "\"," +
                      kinds.at(i % kinds.size()) + "}";
    }
    return baTrackers;
}

bool isWithinOnePercent(qint64 iValue, qint64 iReference)
{
    return std::llabs(iValue - iReference) * 100 <= iReference;
}

QByteArray compared(qint64 iLate, qint64 iEarly)
{
    return QByteArray::number(iLate) + " bytes instead of " + QByteArray::number(iEarly);
}
} // namespace

class TestMemory : public ServedTest
{
    Q_OBJECT

private slots:
    void initTestCase();

    void rebuiltTables();

private:
    struct Kept
    {
        qint64 heap;
        qint64 pixmaps; // of the heap, what the pixmap cache held
    };

    /// Fetches and paints the same table again and again.
    void rebuild(int iTimes);
    /// Empties the pixmap cache.
    Kept kept();
};

void TestMemory::initTestCase()
{
    if (!HeapIsCounted)
        QSKIP("this C library does not count the heap", ); // clang wants the second argument
    // The C library counts what it keeps at hand for each thread as in use.
    QVERIFY2(qEnvironmentVariableIsSet("GLIBC_TUNABLES"),
             "Start it with GLIBC_TUNABLES=glibc.malloc.tcache_count=0.");
}

void TestMemory::rebuild(int iTimes)
{
    for (int i = 0; i < iTimes; ++i) {
        emit combo()->currentIndexChanged(0);
        // Not before: asking clears the table as well.
        QSignalSpy rebuilt(model(), SIGNAL(modelReset()));
        QVERIFY(rebuilt.wait());
        view()->viewport()->repaint();
        server()->forgetRequests();
        clearInfoLog();
    }
}

TestMemory::Kept TestMemory::kept()
{
    const qint64 iHeap = heapInUse();
    QPixmapCache::clear();
    return {iHeap, iHeap - heapInUse()};
}

void TestMemory::rebuiltTables()
{
    window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(window()));
    fill(trackers());
    server()->answer(TrackersPath, R"({"rcode":0,"balance":"1","trackers":[)" + trackers() + "]}");
    rebuild(FewRebuilds);
    kept(); // without what was only needed to open the window
    rebuild(FewRebuilds);
    const Kept early = kept();
    rebuild(ManyRebuilds);
    const Kept late = kept();
    QVERIFY(early.pixmaps > 0); // the lights at least
    QVERIFY2(isWithinOnePercent(late.heap, early.heap), compared(late.heap, early.heap));
    QVERIFY2(isWithinOnePercent(late.pixmaps, early.pixmaps),
             compared(late.pixmaps, early.pixmaps));
}

VELTRANO_TEST_MAIN(TestMemory)
#include "tst_memory.moc"
