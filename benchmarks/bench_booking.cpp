// How long a booking takes, from the Yes to the rebuilt table: two requests, and all that comes of
// their replies.

#include "measure.h"
#include "shownwindow.h"
#include "windowtest.h"

#include "window/trackertable.h"

#include <QApplication>
#include <QStandardItemModel>
#include <QTreeView>

namespace {
void measureBooking(int iTrackers, int iRuns)
{
    ShownWindow shown(iTrackers);
    shown.server()->answer("/activateTrackers.php", R"({"rcode":0})");
    shown.load();
    shown.server()->answer("/bsGetGroupTrackers.php", shown.reply());
    Figures figures;
    for (int i = 0; i < iRuns; ++i) {
        shown.clickSelection("Select All");
        PaintWatch watch(shown.view()->viewport(), [&] {
            return shown.model()->rowCount() == iTrackers &&
                   tickedSerialNumbers(shown.model()).isEmpty();
        });
        QElapsedTimer timer;
        BoxAnswers answers({QMessageBox::Yes});
        answers.whileOpen([&] { timer.start(); });
        shown.click("activateButton");
        watch.wait();
        figures.program << millisecondsSince(timer);
    }
    printRow("Yes to rebuilt table, all trackers ticked", iTrackers, figures);
}
} // namespace

int main(int argc, char *argv[])
{
    prepareTestProcess();
    const QApplication app(argc, argv);
    const Plan plan = beginMeasuring({500}, 7);
    printHead("milliseconds");
    for (int iTrackers : plan.sizes)
        measureBooking(iTrackers, plan.runs);
    return endTestProcess(0);
}
