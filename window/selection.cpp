// Ticking trackers in bulk.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "trackertable.h"

#include <QStandardItemModel>

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

void setTick(QStandardItemModel *pModel, const QModelIndex &serialNumber, Qt::CheckState state)
{
    pModel->setData(serialNumber, static_cast<int>(state), Qt::CheckStateRole);
}
} // namespace

void MainWindow::onSelectAll(bool clicked)
{
    Q_UNUSED(clicked)
    deferLayout(ui->treeView);
    // Rows that the operator can't tick by hand are ticked too.
    for (int iRow = 0; iRow < m_pTrackerModel->rowCount(); ++iRow) {
        const QModelIndex serialNumber = m_pTrackerModel->index(iRow, SerialNumberColumn);
        if (!isTicked(serialNumber))
            setTick(m_pTrackerModel, serialNumber, Qt::Checked);
    }
}

void MainWindow::onSelectNone(bool clicked)
{
    Q_UNUSED(clicked)
    deferLayout(ui->treeView);
    for (int iRow = 0; iRow < m_pTrackerModel->rowCount(); ++iRow) {
        const QModelIndex serialNumber = m_pTrackerModel->index(iRow, SerialNumberColumn);
        if (isTicked(serialNumber))
            setTick(m_pTrackerModel, serialNumber, Qt::Unchecked);
    }
}
