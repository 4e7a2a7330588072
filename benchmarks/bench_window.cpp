// How long the operator waits: for the first window, and for the table behind a reply.

#include "scriptedserver.h"
#include "windowtest.h"

#include "window/mainwindow.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QEvent>
#include <QEventLoop>
#include <QTreeView>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {
constexpr int Runs = 7;
constexpr int PeriodsPerTracker = 3;

/// Ends its wait with the first paint of a widget for which a condition holds.
class PaintWatch : public QObject
{
public:
    PaintWatch(QWidget *pWidget, std::function<bool()> condition) :
        m_condition(std::move(condition))
    {
        pWidget->installEventFilter(this);
    }

    void wait() { m_loop.exec(); }

protected:
    bool eventFilter(QObject *pWatched, QEvent *pEvent) override
    {
        const bool bOver = pEvent->type() == QEvent::Paint && m_condition();
        if (bOver) // queued: the paint itself is still to come
            QMetaObject::invokeMethod(&m_loop, "quit", Qt::QueuedConnection);
        return QObject::eventFilter(pWatched, pEvent);
    }

private:
    std::function<bool()> m_condition;
    QEventLoop m_loop;
};

QByteArray groupOf(int iTrackers)
{
    QByteArray baTrackers;
    for (int i = 0; i < iTrackers; ++i) {
        QByteArray baPeriods;
        for (int j = 0; j < PeriodsPerTracker; ++j)
            baPeriods += QByteArray(j ? "," : "") + R"({"id":")" +
                         QByteArray::number(i * PeriodsPerTracker + j) +
                         R"(","startTime":"2026-03-01 00:00","endTime":"2026-03-08 00:00",)"
                         R"("done":")" +
                         QByteArray::number(j % 2) + R"("})";
        baTrackers += QByteArray(i ? "," : "") + R"({"deviceSn":")" +
                      QByteArray::number(1000000 + i) + R"(","TrackerName":"Tracker )" +
                      QByteArray::number(i) + R"(","compe_id":"T)" + QByteArray::number(i) +
                      R"(","state":")" + (i % 3 ? "" : "A") +
                      R"(","v":"305","imsi":"234500000000001","p":"N","groups":[{"id":"40"}],)"
                      R"("activations":[)" +
                      baPeriods + "]}";
    }
    return R"({"rcode":0,"balance":"412.50 EUR","trackers":[)" + baTrackers + "]}";
}

void report(const char *pWhat, QList<double> milliseconds)
{
    std::sort(milliseconds.begin(), milliseconds.end());
    std::printf("%-48s min %7.1f  median %7.1f  max %7.1f ms\n", pWhat, milliseconds.first(),
                milliseconds.at(milliseconds.size() / 2), milliseconds.last());
    std::fflush(stdout);
}

double millisecondsSince(const QElapsedTimer &timer)
{
    constexpr double NanosecondsPerMillisecond = 1e6;
    return double(timer.nsecsElapsed()) / NanosecondsPerMillisecond;
}

void measureFirstPaint(const QElapsedTimer &sinceMain)
{
    QList<double> times;
    for (int i = 0; i < Runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        MainWindow window;
        window.show();
        PaintWatch watch(&window, [] { return true; });
        watch.wait();
        times << millisecondsSince(timer);
        if (i == 0)
            report("main() to first paint", {millisecondsSince(sinceMain)});
    }
    report("construction to first paint", times);
}

void measureTable(int iTrackers)
{
    ScriptedServer server;
    setServicePort(server.serverPort());
    MainWindow window;
    window.show();
    auto *pView = childOf<QTreeView>(&window, "treeView");
    auto *pCombo = childOf<QComboBox>(&window, "groupComboBox");
    const QByteArray baReply = groupOf(iTrackers);

    QList<double> times;
    for (int i = 0; i < Runs; ++i) {
        QElapsedTimer timer;
        server.script("/bsGetGroupTrackers.php", [&](QSslSocket *pSocket) {
            timer.start();
            ScriptedServer::reply(baReply)(pSocket);
        });
        PaintWatch watch(pView->viewport(),
                         [&] { return pView->model()->rowCount() == iTrackers; });
        pCombo->clear();
        pCombo->addItem("12 - Club A", "12");
        watch.wait();
        times << millisecondsSince(timer);
    }
    const QByteArray baWhat = "reply to shown table, " + QByteArray::number(iTrackers) +
                              " trackers of " + QByteArray::number(PeriodsPerTracker) + " periods";
    report(baWhat.constData(), times);
}
} // namespace

int main(int argc, char *argv[])
{
    QElapsedTimer sinceMain;
    sinceMain.start();
    prepareTestProcess();
    const QApplication app(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    measureFirstPaint(sinceMain);
    for (int iTrackers : {60, 1000, 10000})
        measureTable(iTrackers);
    return 0;
}
