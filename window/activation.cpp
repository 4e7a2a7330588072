// Scheduling activations, and what follows every command that changes bookings.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "bookingrules.h"
#include "trackertable.h"

#include "service/request.h"

#include <QDebug>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMessageBox>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrlQuery>

void MainWindow::onActivateButton(bool)
{
    const int iCount = tickedSerialNumbers(m_pTrackerModel).size();
    if (iCount == 0)
        return;

    const QString strQuestion = activationQuestion(
        iCount, serviceDate(ui->calendarWidget->selectedDate()), ui->weeksSpinBox->text().toInt());
    if (QMessageBox::question(this, tr("Activate ?"), strQuestion) != QMessageBox::Yes)
        return;

    // The table may be another one by now: what is ticked in it at this moment is what is sent.
    QJsonArray posted;
    const QStringList serialNumbers = tickedSerialNumbers(m_pTrackerModel);
    for (const QString &strSerialNumber : serialNumbers) {
        posted << QJsonObject{{"deviceSn", strSerialNumber},
                              {"start", serviceDate(ui->calendarWidget->selectedDate())},
                              {"days", ui->weeksSpinBox->text()}};
    }
    const QByteArray baJson = QJsonDocument(posted).toJson();
    qInfo() << baJson;
    QUrlQuery items;
    items.addQueryItem("posted", baJson);
    PostCommand("/activateTrackers.php", items);
}

void MainWindow::PostCommand(const QString &strPath, const QUrlQuery &items)
{
    ui->progressBar->setVisible(true);
    QNetworkReply *pReply = postOnce(m_pNetManager, formRequest(strPath), formBody(items));
    connect(pReply, SIGNAL(finished()), this, SLOT(onDoneActivations()));
    // clang-format off
    connect(pReply, SIGNAL(uploadProgress(qint64,qint64)),
            this, SLOT(onUploadProgress(qint64,qint64)));
    // clang-format on
}

void MainWindow::onDoneActivations()
{
    qInfo() << "Done";
    QNetworkReply *pReply = qobject_cast<QNetworkReply *>(sender());
    if (!pReply)
        return;
    qInfo() << pReply->readAll();
    delete pReply;
    ui->progressBar->setVisible(false);
    // The reloaded table is the answer: what was booked shows there, and what was refused does not.
    onGroupChanged(ui->groupComboBox->currentIndex());
}

void MainWindow::on_weeksSpinBox_editingFinished()
{
    on_weeksSpinBox_valueChanged(ui->weeksSpinBox->value());
}

void MainWindow::on_weeksSpinBox_valueChanged(int arg1)
{
    const int iDays = bookableDays(arg1);
    // Setting an unchanged value would rewrite the text under the operator's cursor.
    if (iDays != arg1)
        ui->weeksSpinBox->setValue(iDays);
}
