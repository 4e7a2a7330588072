// How long the program takes to start, against a main that only makes the framework's calls.
//
// Each start is a process of its own, measured from outside: from before it is made to the report
// of its first paint. The two take turns. Both are linked from the same objects, so both load the
// same libraries, and both report through the same source.

#include "measure.h"
#include "windowtest.h"

#include "window/mainwindow.h"

#include <QApplication>
#include <QProcess>

namespace {
constexpr int StartLimitMs = 60000;

double millisecondsToPaint(const char *pProgram)
{
    QProcess process;
    process.setStandardErrorFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    process.start(pProgram, QStringList());
    const bool bPainted = process.waitForReadyRead(StartLimitMs);
    const double milliseconds = millisecondsSince(timer);
    if (!bPainted || process.readAll() != "painted\n" || !process.waitForFinished(StartLimitMs))
        giveUp("a program did not paint its window");
    return milliseconds;
}

void measureProcesses(int iRuns)
{
    Figures figures;
    for (int i = 0; i < iRuns; ++i) {
        figures.program << millisecondsToPaint(STARTED_PROGRAM);
        figures.bare << millisecondsToPaint(STARTED_BARE);
    }
    printRow("start of the process to first paint", 0, figures);
}

void measureFurtherWindows(int iRuns)
{
    Figures figures;
    for (int i = 0; i < iRuns; ++i) {
        QElapsedTimer timer;
        timer.start();
        MainWindow window;
        window.show();
        PaintWatch watch(&window, [] { return true; });
        watch.wait();
        figures.program << millisecondsSince(timer);
    }
    printRow("construction of a window to its first paint", 0, figures);
}
} // namespace

int main(int argc, char *argv[])
{
    prepareTestProcess();
    const QApplication app(argc, argv);
    const Plan plan = beginMeasuring({}, 21);
    printHead("milliseconds");
    measureProcesses(plan.runs);
    measureFurtherWindows(plan.runs);
    return endTestProcess(0);
}
