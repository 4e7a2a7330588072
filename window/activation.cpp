// Scheduling activations.

#include "mainwindow.h"

void MainWindow::onActivateButton(bool bClick)
{
    Q_UNUSED(bClick)
}

void MainWindow::onDoneActivations() {}

void MainWindow::on_weeksSpinBox_editingFinished() {}

void MainWindow::on_weeksSpinBox_valueChanged(int arg1)
{
    Q_UNUSED(arg1)
}
