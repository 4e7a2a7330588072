// The window's construction: its parts, their order and the wiring of its widgets.

#include "mainwindow.h"
#include "ui_mainwindow.h"

#include "hangups.h"
#include "trackerdelegate.h"

#include <QDebug>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QSettings>
#include <QStandardItemModel>

MainWindow::MainWindow(QWidget *pParent) : QMainWindow(pParent), ui(new Ui::MainWindow)
{
    ui->setupUi(this);
    qInfo() << "Construct";
    m_pSerialPort = new QSerialPort(this);
    reportHangUps(m_pSerialPort);
    SetupTrackerView();
    SetupSelectionButtons();
    m_bLoggedIn = false;
    SetupCertificates();
    m_pNetManager = new QNetworkAccessManager(this);
    m_pSettings = new QSettings(this);
    qInfo() << m_pSettings->applicationName();
    SetupButtons();
    ui->userLineEdit->setText(m_pSettings->value("lastuser", QVariant()).toString());
    ui->progressBar->hide();
    ui->loginButton->setAutoDefault(true);
    connect(ui->passwordLineEdit, SIGNAL(returnPressed()), this, SLOT(onLoginReturnPressed()));
    // Before its check box is connected: finding a reader here is no click.
    EnumReaders(true);
    connect(ui->barReaderFound, SIGNAL(clicked(bool)), this, SLOT(onSearchBarReader(bool)));
    connect(this, SIGNAL(signalGotSN(QString)), this, SLOT(gotABarCode(QString)));
}

MainWindow::~MainWindow()
{
    delete ui;
}

void MainWindow::SetupTrackerView()
{
    m_pTrackerModel = new QStandardItemModel;
    ui->treeView->setModel(m_pTrackerModel);
    ui->treeView->setItemDelegate(new TrackerDelegate(ui->treeView));
    // clang-format off
    connect(ui->treeView, SIGNAL(doubleClicked(QModelIndex)),
            this, SLOT(onTrackerDoubleClick(QModelIndex)));
    connect(ui->treeView, SIGNAL(customContextMenuRequested(QPoint)),
            this, SLOT(onTrackerContextMenuRequested(QPoint)));
    // clang-format on
    ui->treeView->setContextMenuPolicy(Qt::CustomContextMenu);
}

void MainWindow::SetupSelectionButtons()
{
    auto *pSelectAllButton = new QPushButton("Select All", this);
    auto *pSelectNoneButton = new QPushButton("Select none", this);
    ui->selectionBox->addButton(pSelectAllButton, QDialogButtonBox::ActionRole);
    ui->selectionBox->addButton(pSelectNoneButton, QDialogButtonBox::ActionRole);
    connect(pSelectAllButton, SIGNAL(clicked(bool)), this, SLOT(onSelectAll(bool)));
    connect(pSelectNoneButton, SIGNAL(clicked(bool)), this, SLOT(onSelectNone(bool)));
}

void MainWindow::SetupButtons()
{
    connect(ui->loginButton, SIGNAL(clicked(bool)), this, SLOT(onLoginClicked(bool)));
    connect(ui->groupComboBox, SIGNAL(currentIndexChanged(int)), this, SLOT(onGroupChanged(int)));
    connect(ui->activateButton, SIGNAL(clicked(bool)), this, SLOT(onActivateButton(bool)));
    // One slot for both profile buttons: it tells them apart by the sender's name.
    connect(ui->extendProfile, SIGNAL(clicked(bool)), this, SLOT(setProfileButton(bool)));
    connect(ui->normalProfile, SIGNAL(clicked(bool)), this, SLOT(setProfileButton(bool)));
    connect(ui->pushButtonNewGroup, SIGNAL(clicked(bool)), this, SLOT(onNewGroup(bool)));
    connect(ui->buttonRefresh, SIGNAL(clicked(bool)), this, SLOT(onButtonRefresh(bool)));
}
