// What a shown table keeps of the heap, against the same items in a model that nobody looks at.

#include "baretable.h"
#include "measure.h"
#include "shownwindow.h"
#include "windowtest.h"

#include <QApplication>
#include <QStandardItemModel>

#include <cstdio>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {
#if defined(__GLIBC__)
constexpr bool HeapIsCounted = true;

qint64 heapInUse() // bytes
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

void measureHeap(int iTrackers)
{
    ShownWindow shown(iTrackers);
    shown.load(); // what is made once is there from now on
    shown.model()->clear();
    QCoreApplication::processEvents();
    const auto bytesEach = [&](qint64 iBefore) {
        return QList<double>{double(heapInUse() - iBefore) / iTrackers};
    };

    Figures once;
    Figures rebuilt;
    const qint64 iEmpty = heapInUse();
    shown.load();
    once.program = bytesEach(iEmpty);
    shown.load();
    rebuilt.program = bytesEach(iEmpty);

    QStandardItemModel bareModel;
    const qint64 iBefore = heapInUse();
    buildBareTable(&bareModel, shown.reply());
    once.bare = bytesEach(iBefore);
    buildBareTable(&bareModel, shown.reply());
    rebuilt.bare = bytesEach(iBefore);
    printRow("table shown", iTrackers, once);
    printRow("table rebuilt", iTrackers, rebuilt);
}
} // namespace

int main(int argc, char *argv[])
{
    prepareTestProcess();
    const QApplication app(argc, argv);
    const Plan plan = beginMeasuring({100, 1000, 10000, 100000}, 1);
    if (!HeapIsCounted) {
        std::puts("This C library does not count the heap.");
        return 0;
    }
    printHead("bytes a tracker");
    for (int iTrackers : plan.sizes)
        measureHeap(iTrackers);
    return 0;
}
