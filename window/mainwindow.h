#ifndef WINDOW_MAINWINDOW_H
#define WINDOW_MAINWINDOW_H

#include <QByteArray>
#include <QMainWindow>
#include <QModelIndex>
#include <QPoint>
#include <QSerialPort>
#include <QString>

class QNetworkAccessManager;
class QNetworkReply;
class QSettings;
class QStandardItemModel;
class QUrlQuery;

namespace Ui {
class MainWindow;
}

/// The application's only window and the owner of the session. All slots run on the GUI thread.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// Installs the trust anchors and looks for a barcode reader; sends nothing.
    explicit MainWindow(QWidget *pParent = nullptr);
    ~MainWindow() override;

signals:
    /// A barcode was read whole and its check character was right: seven characters.
    void signalGotSN(QString strSN);

private slots:
    // login.cpp
    void onLoginClicked(bool bClick);
    void onLoginResult();
    // groups.cpp
    void onGetGroupsResult();
    void onGroupChanged(int iIdx);
    // trackers.cpp
    void onGetTrackersResult();
    // activation.cpp
    void onActivateButton(bool bClick);
    // profile.cpp
    void setProfileButton(bool bClick);
    // activation.cpp
    void onDoneActivations();
    // service/progress.cpp
    void onUploadProgress(qint64 sent, qint64 total);
    // trackerdetails.cpp
    void onTrackerDoubleClick(QModelIndex mindex);
    // selection.cpp
    void onSelectAll(bool clicked);
    void onSelectNone(bool clicked);
    // removal.cpp
    void onTrackerContextMenuRequested(QPoint pnt);
    // serialnumbers.cpp
    void onBarCode();
    void onBarCodeError(QSerialPort::SerialPortError portError);
    // readers.cpp
    void onSearchBarReader(bool bPress);
    // serialnumbers.cpp
    void gotABarCode(QString strSN);
    // login.cpp
    void onLoginReturnPressed();
    // groups.cpp
    void onNewGroup(bool bClicked);
    // trackerdetails.cpp
    void onGotTrackerDetail();
    void onSavedTrackerDetail();
    // groups.cpp
    void onButtonRefresh(bool);
    // activation.cpp
    void on_weeksSpinBox_editingFinished();
    void on_weeksSpinBox_valueChanged(int arg1);

private:
    // mainwindow.cpp, the constructor's steps
    void SetupTrackerView();
    void SetupSelectionButtons();
    void SetupButtons();
    // certificates.cpp
    void SetupCertificates();
    // readers.cpp
    void EnumReaders(bool bOpen);
    // login.cpp
    void Login();
    void Logout();
    // activation.cpp, how every command on the ticked trackers ends
    void PostCommand(const QString &strPath, const QUrlQuery &items);
    // service/progress.cpp
    void FollowDownload(QNetworkReply *pReply);

    Ui::MainWindow *ui = nullptr; // ours to delete; the widgets are the window's
    bool m_bLoggedIn = false;
    QString m_strPortName; // empty until a reader was found
    QSerialPort *m_pSerialPort = nullptr;
    QNetworkAccessManager *m_pNetManager = nullptr; // created after the trust anchors
    QSettings *m_pSettings = nullptr;
    QStandardItemModel *m_pTrackerModel = nullptr; // no parent: lives until process exit
    QByteArray m_baBarCode; // what the reader sent since the last complete line
};

#endif // WINDOW_MAINWINDOW_H
