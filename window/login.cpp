// Logging in and out.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "service/reply.h"
#include "service/request.h"

#include <QDebug>
#include <QJsonObject>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>
#include <QStandardItemModel>
#include <QTextDocument>
#include <QUrlQuery>

namespace {
/// The service's text, shown as it stands.
void showError(QWidget *pParent, const QString &strTitle, const QString &strText)
{
    if (!Qt::mightBeRichText(strText)) {
        QMessageBox::critical(pParent, strTitle, strText);
        return;
    }
    QMessageBox box(QMessageBox::Critical, strTitle, QString(), QMessageBox::Ok, pParent);
    // Before the text: it would already be laid out, with the files that it names.
    box.setTextFormat(Qt::PlainText);
    box.setText(strText);
    box.exec();
}
} // namespace

void MainWindow::onLoginClicked(bool)
{
    if (m_bLoggedIn) {
        Logout();
        return;
    }

    QUrlQuery items;
    items.addQueryItem("email", ui->userLineEdit->text());
    items.addQueryItem("password", ui->passwordLineEdit->text());

    QNetworkReply *pReply = postOnce(m_pNetManager, formRequest("/bslogin.php"), formBody(items));
    connect(pReply, SIGNAL(finished()), this, SLOT(onLoginResult()));
    ui->loginButton->setEnabled(false);
}

void MainWindow::onLoginReturnPressed()
{
    onLoginClicked(false);
}

void MainWindow::onLoginResult()
{
    QNetworkReply *pReply = qobject_cast<QNetworkReply *>(sender());
    if (!pReply)
        return;
    const QByteArray baBody = pReply->readAll();
    qInfo() << baBody;
    const QJsonObject reply = replyObject(baBody);

    if (reply["id"].toInt() <= 0) {
        showError(this, tr("Error"), reply["msg"].toString());
    } else {
        qInfo() << reply["name"].toString();
        Login();
    }
    ui->loginButton->setEnabled(true);
    delete pReply;
}

void MainWindow::Login()
{
    m_bLoggedIn = true;
    m_pSettings->setValue("lastuser", ui->userLineEdit->text());
    ui->loginButton->setText(tr("Logout"));
    ui->userLineEdit->setEnabled(false);
    ui->passwordLineEdit->setEnabled(false);
    ui->groupComboBox->setEnabled(true);
    ui->calendarWidget->setEnabled(true);
    ui->treeView->setEnabled(true);

    QNetworkReply *pReply = m_pNetManager->get(formRequest("/bsGetMyGroups.php"));
    connect(pReply, SIGNAL(finished()), this, SLOT(onGetGroupsResult()));
}

void MainWindow::Logout()
{
    m_bLoggedIn = false;
    ui->loginButton->setText(tr("Login"));
    ui->userLineEdit->setEnabled(true);
    ui->passwordLineEdit->setEnabled(true);
    ui->passwordLineEdit->setText(QString());
    ui->groupComboBox->setEnabled(false);
    ui->calendarWidget->setEnabled(false);
    ui->treeView->setEnabled(false);
    m_pTrackerModel->clear();
    ui->numberTrackers->setText(QString());
    ui->groupComboBox->clear();
}
