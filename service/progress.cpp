// The one progress bar, driven by every transfer that reports its progress.

// The bar is the window's, and so is the slot: a slot has to belong to an object.
#include "ui_mainwindow.h"
#include "window/mainwindow.h"

#include <QDebug>
#include <QNetworkReply>

void MainWindow::FollowDownload(QNetworkReply *pReply)
{
    // clang-format off
    connect(pReply, SIGNAL(downloadProgress(qint64,qint64)),
            this, SLOT(onUploadProgress(qint64,qint64)));
    // clang-format on
}

void MainWindow::onUploadProgress(qint64 sent, qint64 total)
{
    qInfo() << sent << ":" << total;
    // As reported: an unknown total is -1 and the extra report that ends an upload is 0 of 0.
    ui->progressBar->setMaximum(static_cast<int>(total));
    ui->progressBar->setValue(static_cast<int>(sent));
}
