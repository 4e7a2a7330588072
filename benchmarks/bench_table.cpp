// How long the table behind a reply takes, and what it keeps of the heap, against the same items in
// a model that nobody looks at.
//
// Window and bare work take turns, so that what else the machine does hits both. Measured is from
// the finished reply to the painted table. The transfer is in neither, and neither is the freeing
// of an older table, which the window does when it asks for the new one: that is a row of its own.

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

double millisecondsToClear(QStandardItemModel *pModel)
{
    QElapsedTimer timer;
    timer.start();
    pModel->clear();
    return millisecondsSince(timer);
}

double millisecondsToBuild(QStandardItemModel *pModel, const QByteArray &baReply)
{
    QElapsedTimer timer;
    timer.start();
    buildBareTable(pModel, baReply);
    return millisecondsSince(timer);
}

void measureTimes(int iTrackers, int iRuns)
{
    ShownWindow shown(iTrackers);
    QStandardItemModel bareModel;
    Figures table;
    Figures freed;
    Figures withTransfer;
    for (int i = 0; i < iRuns; ++i) {
        const TableTimes times = shown.load();
        const Traces traces = takeTraces();
        table.program << times.sinceArrived;
        withTransfer.program << times.sinceSent;
        table.bare << millisecondsToBuild(&bareModel, shown.reply());
        if (!(takeTraces() == traces))
            giveUp("the bare work does not log what the window logs");
        if (i == 0 && !isSameTable(shown.model(), &bareModel))
            giveUp("the bare work does not build what the window shows");
        freed.program << millisecondsToClear(shown.model());
        freed.bare << millisecondsToClear(&bareModel);
    }
    printRow("reply to shown table", iTrackers, table);
    printRow("the same with its transfer", iTrackers, withTransfer);
    printRow("old table freed", iTrackers, freed);
}

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
    const Plan plan = beginMeasuring({100, 1000, 10000, 100000}, 9);
    printHead("milliseconds");
    for (int iTrackers : plan.sizes)
        measureTimes(iTrackers, plan.runs);
    std::printf("\n");
    if (HeapIsCounted) {
        printHead("heap bytes a tracker");
        for (int iTrackers : plan.sizes)
            measureHeap(iTrackers);
    } else {
        std::printf("This C library does not count the heap.\n");
    }
    return 0;
}
