#ifndef BENCHMARKS_MEASURE_H
#define BENCHMARKS_MEASURE_H

#include <QByteArray>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QList>
#include <QObject>

#include <functional>

class QString;
class QWidget;

/// What the command line asks for.
struct Plan
{
    QList<int> sizes; // trackers in a table
    int runs = 0;
};

/// The log is formatted, counted and thrown away from here on. Reads the options --sizes and
/// --runs, for which there must be an application object.
Plan beginMeasuring(const QList<int> &sizes, int iRuns);

struct Traces
{
    int lines = 0;
    qint64 characters = 0;

    bool operator==(const Traces &other) const;
};

/// What was written to the info log since the last call.
Traces takeTraces();

/// Ends the program: what it compares is not comparable.
[[noreturn]] void giveUp(const char *pWhy);

/// What a profiler counts, where one was asked not to begin on its own: instructions.py.
void beginCounting();
void endCounting(const char *pWhat);

double millisecondsSince(const QElapsedTimer &timer);

/// Ends its wait with the first paint of a widget for which a condition holds, and the program
/// where none comes.
class PaintWatch : public QObject
{
public:
    PaintWatch(QWidget *pWidget, std::function<bool()> condition);

    void wait();

protected:
    bool eventFilter(QObject *pWatched, QEvent *pEvent) override;

private:
    std::function<bool()> m_condition;
    QEventLoop m_loop;
};

/// The figures of one measure, and of the bare work that it is compared with, if there is any.
struct Figures
{
    QList<double> program;
    QList<double> bare;
};

/// One table in Markdown on standard output. The ratio is that of the medians.
void printHead(const char *pUnit);
/// iTrackers is 0 where there is no table.
void printRow(const QString &strWhat, int iTrackers, const Figures &figures);

#endif // BENCHMARKS_MEASURE_H
