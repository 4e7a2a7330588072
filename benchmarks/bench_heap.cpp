// What a shown table keeps of the heap, against the same items in a model that nobody looks at.

#include "baretable.h"
#include "measure.h"
#include "shownwindow.h"
#include "windowtest.h"

#include <QApplication>
#include <QStandardItemModel>

#include <cstdio>

// A sanitizer brings its own heap.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
#include <malloc.h>
#define HEAP_IS_COUNTED 1
#else
#define HEAP_IS_COUNTED 0
#endif

namespace {
#if HEAP_IS_COUNTED
qint64 heapInUse() // bytes
{
    const struct mallinfo2 heap = mallinfo2();
    return qint64(heap.uordblks) + qint64(heap.hblkhd);
}
#else
qint64 heapInUse()
{
    return 0;
}
#endif

/// What goes with the model's items; the rest is not the table's.
double bytesFreedEach(QStandardItemModel *pModel)
{
    const int iTrackers = pModel->rowCount();
    const qint64 iBefore = heapInUse();
    pModel->clear();
    return double(iBefore - heapInUse()) / iTrackers;
}

void measureHeap(int iTrackers)
{
    ShownWindow shown(iTrackers);
    QStandardItemModel bareModel;
    for (const bool bRebuilt : {false, true}) {
        Figures figures;
        for (int i = 0; i < (bRebuilt ? 2 : 1); ++i) {
            shown.load();
            buildBareTable(&bareModel, shown.reply());
        }
        figures.program << bytesFreedEach(shown.model());
        figures.bare << bytesFreedEach(&bareModel);
        printRow(bRebuilt ? "table rebuilt" : "table shown", iTrackers, figures);
    }
}
} // namespace

int main(int argc, char *argv[])
{
    prepareTestProcess();
    const QApplication app(argc, argv);
    const Plan plan = beginMeasuring({100, 1000, 10000, 100000}, 1);
    if (!HEAP_IS_COUNTED) {
        std::puts("This C library does not count the heap.");
        return endTestProcess(0);
    }
    printHead("bytes a tracker");
    for (int iTrackers : plan.sizes)
        measureHeap(iTrackers);
    return endTestProcess(0);
}
