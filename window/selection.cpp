// Ticking trackers in bulk.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "trackertable.h"

#include <QTreeView>

namespace {
/// Only opens a protected member of the view.
class LayoutAccess : public QTreeView
{
public:
    using QTreeView::scheduleDelayedItemsLayout;
};

/// From here to the next event the view passes over single changes and then lays out once. Without
/// it every tick makes the view measure and look for its row from the top: 10,000 ticks take a
/// third of a second.
void deferLayout(QTreeView *pView)
{
    (pView->*(&LayoutAccess::scheduleDelayedItemsLayout))();
}

/// Ticks every tracker that is not ticked, or unticks every one that is: a half-checked one is not.
/// Those that the operator can't tick by hand are included.
void tickAll(QTreeView *pView, Qt::CheckState state)
{
    deferLayout(pView);
    QAbstractItemModel *pModel = pView->model();
    for (int iRow = 0; iRow < pModel->rowCount(); ++iRow) {
        const QModelIndex serialNumber = pModel->index(iRow, SerialNumberColumn);
        if (isTicked(serialNumber) != (state == Qt::Checked))
            pModel->setData(serialNumber, static_cast<int>(state), Qt::CheckStateRole);
    }
}
} // namespace

void MainWindow::onSelectAll(bool)
{
    tickAll(ui->treeView, Qt::Checked);
}

void MainWindow::onSelectNone(bool)
{
    tickAll(ui->treeView, Qt::Unchecked);
}
