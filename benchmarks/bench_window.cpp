// How long the operator waits: for the first window, for the table behind a reply, for the tick
// behind a scan, for bulk ticks and for a schedule.

#include "scriptedserver.h"
#include "windowtest.h"

#include "window/mainwindow.h"
#include "window/trackertable.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QEvent>
#include <QEventLoop>
#include <QStandardItemModel>
#include <QTreeView>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {
constexpr int Runs = 7;
constexpr int PeriodsPerTracker = 3;
constexpr int FirstSerialNumber = 1000000;
constexpr int ScansPerTable = 20;

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
                      QByteArray::number(FirstSerialNumber + i) + R"(","TrackerName":"Tracker )" +
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
    std::printf("%-57s min %7.1f  median %7.1f  max %7.1f ms\n", pWhat, milliseconds.first(),
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

/// Rows from all over the table, far from one another.
int rowOfScan(int iScan, int iTrackers)
{
    constexpr int Stride = 617; // prime to the tables' sizes
    return (iScan + 1) * Stride % iTrackers;
}

double measureScan(MainWindow *pWindow, QTreeView *pView, int iRow)
{
    const QModelIndex serialNumber = pView->model()->index(iRow, 0);
    PaintWatch watch(pView->viewport(),
                     [&] { return serialNumber.data(Qt::CheckStateRole).toInt() == Qt::Checked; });
    QElapsedTimer timer;
    timer.start();
    emit pWindow->signalGotSN(QString::number(FirstSerialNumber + iRow));
    watch.wait();
    return millisecondsSince(timer);
}

void measureScans(int iTrackers)
{
    ScriptedServer server;
    setServicePort(server.serverPort());
    server.answer("/bsGetGroupTrackers.php", groupOf(iTrackers));
    MainWindow window;
    window.show();
    auto *pView = childOf<QTreeView>(&window, "treeView");
    auto *pCombo = childOf<QComboBox>(&window, "groupComboBox");

    QList<double> first;
    QList<double> later;
    for (int i = 0; i < Runs; ++i) {
        PaintWatch watch(pView->viewport(),
                         [&] { return pView->model()->rowCount() == iTrackers; });
        pCombo->clear();
        pCombo->addItem("12 - Club A", "12");
        watch.wait();
        QCoreApplication::processEvents();
        // The view measures the rows that it passes, once: at worst all of them for the first scan.
        first << measureScan(&window, pView, iTrackers - 1);
        for (int j = 1; j <= ScansPerTable; ++j)
            later << measureScan(&window, pView, rowOfScan(i + j, iTrackers));
    }
    const QByteArray baWhat = "scan to tick, " + QByteArray::number(iTrackers) + " trackers";
    report((baWhat + ", first of a table, its last row").constData(), first);
    report((baWhat + ", later ones all over it").constData(), later);
}

/// A shown window with a table of so many trackers.
class ShownTable
{
public:
    explicit ShownTable(int iTrackers)
    {
        setServicePort(m_server.serverPort());
        m_server.answer("/bsGetGroupTrackers.php", groupOf(iTrackers));
        m_server.answer("/activateTrackers.php", R"({"rcode":0})");
        m_pWindow.reset(new MainWindow);
        m_pWindow->show();
        PaintWatch watch(view()->viewport(), [&] { return model()->rowCount() == iTrackers; });
        childOf<QComboBox>(m_pWindow.data(), "groupComboBox")->addItem("12 - Club A", "12");
        watch.wait();
    }

    QTreeView *view() const { return childOf<QTreeView>(m_pWindow.data(), "treeView"); }
    QStandardItemModel *model() const
    {
        return qobject_cast<QStandardItemModel *>(view()->model());
    }
    void click(const char *pName) const
    {
        childOf<QAbstractButton>(m_pWindow.data(), pName)->click();
    }
    void clickSelection(const QString &strText) const
    {
        auto *pBox = childOf<QDialogButtonBox>(m_pWindow.data(), "selectionBox");
        const QList<QAbstractButton *> buttons = pBox->buttons();
        for (QAbstractButton *pButton : buttons) {
            if (pButton->text() == strText)
                pButton->click();
        }
    }

private:
    ScriptedServer m_server;
    QScopedPointer<MainWindow> m_pWindow; // behind the server: it goes first
};

void measureBulkTicks(int iTrackers, bool bExpanded)
{
    const ShownTable table(iTrackers);
    if (bExpanded)
        table.view()->expandAll();
    QCoreApplication::processEvents();

    QMap<QString, QList<double>> times;
    for (int i = 0; i < Runs; ++i) {
        for (const QString &strText : {QString("Select All"), QString("Select none")}) {
            PaintWatch watch(table.view()->viewport(), [] { return true; });
            QElapsedTimer timer;
            timer.start();
            table.clickSelection(strText);
            watch.wait();
            times[strText] << millisecondsSince(timer);
        }
    }
    for (auto it = times.cbegin(); it != times.cend(); ++it) {
        const QString strWhat = QString("%1 to repaint, %2 trackers%3")
                                    .arg(it.key())
                                    .arg(iTrackers)
                                    .arg(bExpanded ? ", expanded" : "");
        report(qPrintable(strWhat), it.value());
    }
}

void measureSchedule(int iTrackers)
{
    const ShownTable table(iTrackers);
    QList<double> times;
    for (int i = 0; i < Runs; ++i) {
        table.clickSelection("Select All");
        PaintWatch watch(table.view()->viewport(), [&] {
            return table.model()->rowCount() == iTrackers && tickedSerialNumbers(table.model()).isEmpty();
        });
        QElapsedTimer timer;
        BoxAnswers answers({QMessageBox::Yes});
        answers.whileOpen([&] { timer.start(); });
        table.click("activateButton");
        watch.wait();
        times << millisecondsSince(timer);
    }
    const QByteArray baWhat =
        "Yes to rebuilt table, " + QByteArray::number(iTrackers) + " ticked trackers";
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
    for (int iTrackers : {1000, 10000})
        measureScans(iTrackers);
    for (int iTrackers : {1000, 10000})
        measureBulkTicks(iTrackers, false);
    measureBulkTicks(10000, true);
    measureSchedule(500);
    return 0;
}
