// The one progress bar, driven by every transfer that reports its progress.

#include "ui_mainwindow.h"
#include "window/mainwindow.h"

#include <QDebug>

void MainWindow::onUploadProgress(qint64 sent, qint64 total)
{
    qInfo() << sent << ":" << total;
    // As reported: an unknown total is -1 and the extra report that ends an upload is 0 of 0.
    ui->progressBar->setMaximum(static_cast<int>(total));
    ui->progressBar->setValue(static_cast<int>(sent));
}
