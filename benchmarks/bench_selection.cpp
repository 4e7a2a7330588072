// How long ticks take, in bulk and by a scan, from the click or the scan to the painted tick;
// against the same walk over a model that nobody looks at.

#include "baretable.h"
#include "measure.h"
#include "shownwindow.h"
#include "windowtest.h"

#include "window/barcoderules.h"
#include "window/mainwindow.h"
#include "window/trackertable.h"

#include <QApplication>
#include <QDebug>
#include <QStandardItemModel>
#include <QTreeView>

#include <algorithm>
#include <cstdio>

namespace {
constexpr int ScansPerTable = 20;

void tickAll(QStandardItemModel *pModel, Qt::CheckState state)
{
    for (int iRow = 0; iRow < pModel->rowCount(); ++iRow) {
        const QModelIndex serialNumber = pModel->index(iRow, SerialNumberColumn);
        if (isTicked(serialNumber) != (state == Qt::Checked))
            pModel->setData(serialNumber, static_cast<int>(state), Qt::CheckStateRole);
    }
}

void tickScanned(QStandardItemModel *pModel, const QString &strSerialNumber)
{
    qInfo() << strSerialNumber;
    const qint64 iScanned = serialNumberValue(strSerialNumber);
    for (int iRow = 0; iRow < pModel->rowCount(); ++iRow) {
        const QModelIndex serialNumber = pModel->index(iRow, SerialNumberColumn);
        if (serialNumberValue(serialNumber.data().toString()) == iScanned)
            pModel->setData(serialNumber, static_cast<int>(Qt::Checked), Qt::CheckStateRole);
    }
}

void measureBulkTicks(ShownWindow *pShown, QStandardItemModel *pBareModel, const QString &strRow,
                      int iRuns)
{
    Figures all;
    Figures none;
    const auto measure = [&](const QString &strButton, Qt::CheckState state, Figures *pFigures) {
        PaintWatch watch(pShown->view()->viewport(), [] { return true; });
        QElapsedTimer timer;
        timer.start();
        pShown->clickSelection(strButton);
        watch.wait();
        pFigures->program << millisecondsSince(timer);
        timer.start();
        tickAll(pBareModel, state);
        pFigures->bare << millisecondsSince(timer);
    };
    for (int i = 0; i < iRuns; ++i) {
        measure("Select All", Qt::Checked, &all);
        measure("Select none", Qt::Unchecked, &none);
    }
    printRow("Select All to repaint" + strRow, pShown->trackers(), all);
    printRow("Select none to repaint" + strRow, pShown->trackers(), none);
}

void measureScan(ShownWindow *pShown, QStandardItemModel *pBareModel, int iRow, Figures *pFigures)
{
    const QString strSerialNumber = QString::number(FirstSerialNumber + iRow);
    const QModelIndex serialNumber = pShown->model()->index(iRow, SerialNumberColumn);
    PaintWatch watch(pShown->view()->viewport(), [&] { return isTicked(serialNumber); });
    QElapsedTimer timer;
    timer.start();
    emit pShown->window()->signalGotSN(strSerialNumber);
    watch.wait();
    pFigures->program << millisecondsSince(timer);
    timer.start();
    tickScanned(pBareModel, strSerialNumber);
    pFigures->bare << millisecondsSince(timer);
}

/// All over the table, far from one another, and never its last row.
int rowOfScan(int iScan, int iTrackers)
{
    constexpr int Stride = 617;
    return iScan * Stride % (iTrackers - 1);
}

void measureScans(ShownWindow *pShown, QStandardItemModel *pBareModel, int iRuns)
{
    const int iTrackers = pShown->trackers();
    Figures first;
    Figures later;
    for (int i = 0; i < iRuns; ++i) {
        pShown->load();
        QCoreApplication::processEvents();
        tickAll(pBareModel, Qt::Unchecked);
        // What the view has not measured yet it measures now, at worst every row.
        measureScan(pShown, pBareModel, iTrackers - 1, &first);
        for (int j = 1; j <= std::min(ScansPerTable, iTrackers - 2); ++j)
            measureScan(pShown, pBareModel, rowOfScan(j, iTrackers), &later);
    }
    printRow("first scan of a table, its last row, to tick", iTrackers, first);
    printRow("later scan, all over it, to tick", iTrackers, later);
}

void measureTable(int iTrackers, int iRuns)
{
    ShownWindow shown(iTrackers);
    QStandardItemModel bareModel;
    buildBareTable(&bareModel, shown.reply());
    measureScans(&shown, &bareModel, iRuns);
    shown.load();
    tickAll(&bareModel, Qt::Unchecked);
    QCoreApplication::processEvents();
    measureBulkTicks(&shown, &bareModel, "", iRuns);
    shown.view()->expandAll();
    QCoreApplication::processEvents();
    measureBulkTicks(&shown, &bareModel, ", expanded", iRuns);
}
} // namespace

int main(int argc, char *argv[])
{
    prepareTestProcess();
    const QApplication app(argc, argv);
    const Plan plan = beginMeasuring({100, 1000, 10000, 100000}, 7);
    printHead("milliseconds");
    for (int iTrackers : plan.sizes)
        measureTable(iTrackers, plan.runs);
    return endTestProcess(0);
}
