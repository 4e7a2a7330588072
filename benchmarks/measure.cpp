// What all benchmarks share: which tables and how often, waiting for a paint, and the rows that
// they print.

#include "measure.h"

#include "windowtest.h"

#include <QCommandLineParser>
#include <QEvent>
#include <QMetaObject>
#include <QTimer>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_TOGGLE_COLLECT
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS_AT(pWhat) Q_UNUSED(pWhat)
#endif

namespace {
constexpr int PaintLimitMs = 600000; // the largest table, under a profiler

Traces g_traces;

void countTrace(QtMsgType type, const QMessageLogContext &, const QString &strMessage)
{
    if (type == QtInfoMsg) {
        ++g_traces.lines;
        g_traces.characters += strMessage.size();
    } else if (!strMessage.startsWith("This plugin does not support")) {
        std::fprintf(stderr, "%s\n", qPrintable(strMessage));
    }
}

int positive(const QString &strNumber)
{
    const int iNumber = strNumber.toInt();
    if (iNumber < 1)
        giveUp("sizes and runs are whole numbers above 0");
    return iNumber;
}

QByteArray figure(double value)
{
    return QByteArray::number(value, 'f', value < 1 ? 3 : 1);
}

/// "min / median / max", or a dash where nothing was measured.
QByteArray spread(QList<double> values)
{
    if (values.isEmpty())
        return "-";
    std::sort(values.begin(), values.end());
    return figure(values.first()) + " / " + figure(values.at(values.size() / 2)) + " / " +
           figure(values.last());
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}
} // namespace

Plan beginMeasuring(const QList<int> &sizes, int iRuns)
{
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"sizes", "Trackers in the tables, with commas between.", "numbers"});
    parser.addOption({"runs", "How often each is measured.", "number"});
    parser.process(*QCoreApplication::instance());

    Plan plan{sizes, iRuns};
    if (parser.isSet("runs"))
        plan.runs = positive(parser.value("runs"));
    if (parser.isSet("sizes")) {
        plan.sizes.clear();
        const QStringList numbers = parser.value("sizes").split(',');
        for (const QString &strNumber : numbers)
            plan.sizes << positive(strNumber);
    }
    keepScreenReachable();
    qInstallMessageHandler(countTrace);
    return plan;
}

bool Traces::operator==(const Traces &other) const
{
    return lines == other.lines && characters == other.characters;
}

Traces takeTraces()
{
    return std::exchange(g_traces, {});
}

void giveUp(const char *pWhy)
{
    std::fprintf(stderr, "%s: %s\n", qPrintable(QCoreApplication::applicationName()), pWhy);
    std::exit(1);
}

void beginCounting()
{
    CALLGRIND_ZERO_STATS;
    CALLGRIND_TOGGLE_COLLECT;
}

void endCounting(const char *pWhat)
{
    CALLGRIND_TOGGLE_COLLECT;
    CALLGRIND_DUMP_STATS_AT(pWhat);
}

double millisecondsSince(const QElapsedTimer &timer)
{
    constexpr double NanosecondsPerMillisecond = 1e6;
    return double(timer.nsecsElapsed()) / NanosecondsPerMillisecond;
}

PaintWatch::PaintWatch(QWidget *pWidget, std::function<bool()> condition) :
    m_condition(std::move(condition))
{
    pWidget->installEventFilter(this);
}

void PaintWatch::wait()
{
    QTimer::singleShot(PaintLimitMs, &m_loop, [] { giveUp("nothing was painted"); });
    m_loop.exec();
}

bool PaintWatch::eventFilter(QObject *pWatched, QEvent *pEvent)
{
    const bool bOver = pEvent->type() == QEvent::Paint && m_condition();
    if (bOver) // queued: the paint itself is still to come
        QMetaObject::invokeMethod(&m_loop, "quit", Qt::QueuedConnection);
    return QObject::eventFilter(pWatched, pEvent);
}

void printHead(const char *pUnit)
{
    std::printf("| %s, min / median / max | trackers | program | bare work | ratio |\n"
                "| --- | ---: | ---: | ---: | ---: |\n",
                pUnit);
}

void printRow(const QString &strWhat, int iTrackers, const Figures &figures)
{
    const QByteArray baRatio =
        figures.bare.isEmpty()
            ? "-"
            : QByteArray::number(median(figures.program) / median(figures.bare), 'f', 2);
    const QByteArray baTrackers = iTrackers == 0 ? "-" : QByteArray::number(iTrackers);
    std::printf("| %s | %s | %s | %s | %s |\n", qPrintable(strWhat), baTrackers.constData(),
                spread(figures.program).constData(), spread(figures.bare).constData(),
                baRatio.constData());
    std::fflush(stdout);
}
