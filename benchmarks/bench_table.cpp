// How long the table behind a reply takes, against the same items in a model that nobody looks at.
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

namespace {
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
    beginCounting();
    timer.start();
    buildBareTable(pModel, baReply);
    const double milliseconds = millisecondsSince(timer);
    endCounting("bare work");
    return milliseconds;
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
} // namespace

int main(int argc, char *argv[])
{
    prepareTestProcess();
    const QApplication app(argc, argv);
    const Plan plan = beginMeasuring({100, 1000, 10000, 100000}, 9);
    printHead("milliseconds");
    for (int iTrackers : plan.sizes)
        measureTimes(iTrackers, plan.runs);
    return endTestProcess(0);
}
