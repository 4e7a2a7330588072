// Works the client from within, for the player of the faults: loaded into the process from outside,
// it takes lines of JSON on a local socket, does what each one asks, and answers with a line.

#include "surroundings.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDialog>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QHostInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QMetaEnum>
#include <QMouseEvent>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>
#include <QTreeView>
#include <QUrlQuery>

#include <algorithm>

namespace {
constexpr int BeatInterval = 1;      // ms
constexpr int RememberedNames = 128; // that many the framework keeps, for a minute
constexpr int ActivationDone = Qt::UserRole + 1;
constexpr int ActivationId = Qt::UserRole + 2;

/// The longest time that the event loop did not come round.
class Heart : public QObject
{
    Q_OBJECT

public:
    Heart()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        connect(&m_timer, SIGNAL(timeout()), this, SLOT(onBeat()));
        m_timer.start(BeatInterval);
        restart();
    }

    void restart()
    {
        m_iLongest = 0;
        m_sinceBeat.start();
    }

    double longestGap() const
    {
        return static_cast<double>(std::max(m_iLongest, m_sinceBeat.nsecsElapsed())) / 1e6;
    }

private slots:
    void onBeat()
    {
        m_iLongest = std::max(m_iLongest, m_sinceBeat.nsecsElapsed());
        m_sinceBeat.start();
    }

private:
    QTimer m_timer;
    QElapsedTimer m_sinceBeat;
    qint64 m_iLongest = 0; // ns
};

QMainWindow *mainWindow()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *pWindow : windows) {
        if (auto *pMain = qobject_cast<QMainWindow *>(pWindow))
            return pMain;
    }
    return nullptr;
}

QTreeView *table()
{
    return mainWindow()->findChild<QTreeView *>("treeView");
}

/// What waits for an answer: the innermost box, dialog or menu.
QWidget *waiting()
{
    QWidget *pPopup = QApplication::activePopupWidget();
    return pPopup != nullptr ? pPopup : QApplication::activeModalWidget();
}

// What the client shows

QJsonObject widgetObject(const QWidget *pWidget)
{
    QJsonObject report{{"enabled", pWidget->isEnabled()}, {"visible", pWidget->isVisible()}};
    if (const auto *pBox = qobject_cast<const QComboBox *>(pWidget)) {
        QJsonArray items;
        for (int iItem = 0; iItem < pBox->count(); ++iItem)
            items.append(pBox->itemText(iItem));
        report["items"] = items;
        report["index"] = pBox->currentIndex();
    } else if (const auto *pEdit = qobject_cast<const QLineEdit *>(pWidget)) {
        if (pEdit->echoMode() == QLineEdit::Normal)
            report["text"] = pEdit->text();
        report["length"] = pEdit->text().size(); // of a password nothing else leaves the process
    } else if (pWidget->property("text").isValid()) {
        report["text"] = pWidget->property("text").toString();
    }
    return report;
}

QJsonObject namedWidgets(const QWidget *pWindow)
{
    QJsonObject report;
    const auto children = pWindow->findChildren<const QWidget *>();
    for (const QWidget *pWidget : children) {
        const QString strName = pWidget->objectName();
        if (!strName.isEmpty() && !strName.startsWith("qt_") && pWidget->window() == pWindow)
            report[strName] = widgetObject(pWidget);
    }
    return report;
}

QJsonArray periodArray(const QAbstractItemModel *pModel, const QModelIndex &tracker)
{
    QJsonArray periods;
    for (int iRow = 0; iRow < pModel->rowCount(tracker); ++iRow) {
        const QModelIndex period = pModel->index(iRow, 0, tracker);
        periods.append(QJsonArray{period.data().toString(), period.data(ActivationDone).toInt(),
                                  period.data(ActivationId).toInt()});
    }
    return periods;
}

QJsonObject tableObject()
{
    const QAbstractItemModel *pModel = table()->model();
    QJsonArray columns;
    for (int iColumn = 0; iColumn < pModel->columnCount(); ++iColumn)
        columns.append(pModel->headerData(iColumn, Qt::Horizontal).toString());
    QJsonArray rows;
    for (int iRow = 0; iRow < pModel->rowCount(); ++iRow) {
        const QModelIndex tracker = pModel->index(iRow, 0);
        QJsonArray cells;
        for (int iColumn = 0; iColumn < pModel->columnCount(); ++iColumn)
            cells.append(tracker.sibling(iRow, iColumn).data().toString());
        rows.append(QJsonObject{{"cells", cells},
                                {"enabled", bool(tracker.flags() & Qt::ItemIsEnabled)},
                                {"extended", tracker.data(Qt::ForegroundRole).isValid()},
                                {"tick", tracker.data(Qt::CheckStateRole).toInt()},
                                {"periods", periodArray(pModel, tracker)}});
    }
    return {{"columns", columns}, {"rows", rows}};
}

QJsonObject windowObject(const QWidget *pWindow)
{
    QJsonArray buttons;
    const auto children = pWindow->findChildren<const QAbstractButton *>();
    for (const QAbstractButton *pButton : children)
        buttons.append(pButton->text().remove('&'));
    QJsonObject report{{"class", pWindow->metaObject()->className()},
                       {"title", pWindow->windowTitle()},
                       {"buttons", buttons},
                       {"widgets", namedWidgets(pWindow)}};
    if (const auto *pBox = qobject_cast<const QMessageBox *>(pWindow)) {
        report["text"] = pBox->text();
        report["icon"] = pBox->icon();
    } else if (const auto *pMenu = qobject_cast<const QMenu *>(pWindow)) {
        QJsonArray actions;
        const QList<QAction *> entries = pMenu->actions();
        for (const QAction *pAction : entries)
            actions.append(pAction->text());
        report["actions"] = actions;
    }
    return report;
}

QJsonArray otherWindows()
{
    QJsonArray report;
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (const QWidget *pWindow : windows) {
        if (pWindow->isVisible() && pWindow != mainWindow())
            report.append(windowObject(pWindow));
    }
    return report;
}

/// A request as the service tells it from others: the details' two share a path.
QString requestName(const QUrl &url)
{
    const QString strFunction = QUrlQuery(url).queryItemValue("fx");
    return strFunction.isEmpty() ? url.path() : url.path() + '?' + strFunction;
}

QJsonArray runningRequests(const QNetworkAccessManager *pManager)
{
    QJsonArray report;
    const auto replies = pManager->findChildren<const QNetworkReply *>();
    for (const QNetworkReply *pReply : replies) {
        if (pReply->isRunning())
            report.append(requestName(pReply->url()));
    }
    return report;
}

// What the player does to it. An empty text says that it could be done.

QString click(const QWidget *pWindow, const QString &strButton)
{
    const auto buttons = pWindow->findChildren<QAbstractButton *>();
    for (QAbstractButton *pButton : buttons) {
        if (pButton->objectName() != strButton && pButton->text().remove('&') != strButton)
            continue;
        if (!pButton->isEnabled() || !pButton->isVisible())
            return strButton + " cannot be clicked";
        pButton->click();
        return {};
    }
    return "no button " + strButton;
}

void sendMouse(QWidget *pWidget, QEvent::Type type, const QPoint &place)
{
    QMouseEvent event(type, place, pWidget->mapToGlobal(place), Qt::LeftButton,
                      type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(pWidget, &event);
}

QString doubleClick(int iRow)
{
    const QPoint place = table()->visualRect(table()->model()->index(iRow, 0)).center();
    QWidget *pViewport = table()->viewport();
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease,
                                    QEvent::MouseButtonDblClick, QEvent::MouseButtonRelease})
        sendMouse(pViewport, type, place);
    return {};
}

QString openMenu(int iRow)
{
    const QModelIndex tracker = table()->model()->index(iRow, 0);
    table()->expand(tracker);
    const QRect rect = table()->visualRect(table()->model()->index(0, 0, tracker));
    if (rect.isEmpty())
        return "the period cannot be seen";
    QContextMenuEvent event(QContextMenuEvent::Mouse, rect.center(),
                            table()->viewport()->mapToGlobal(rect.center()));
    QApplication::sendEvent(table()->viewport(), &event);
    return {};
}

QString chooseAction(const QString &strText)
{
    auto *pMenu = qobject_cast<QMenu *>(waiting());
    if (pMenu == nullptr)
        return "no menu is open";
    const QList<QAction *> actions = pMenu->actions();
    for (QAction *pAction : actions) {
        if (pAction->text() == strText) {
            const QPoint place = pMenu->actionGeometry(pAction).center();
            sendMouse(pMenu, QEvent::MouseMove, place);
            sendMouse(pMenu, QEvent::MouseButtonPress, place);
            sendMouse(pMenu, QEvent::MouseButtonRelease, place);
            return {};
        }
    }
    return "no entry " + strText;
}

QString setText(const QString &strName, const QString &strText)
{
    QWidget *pWindow = waiting() != nullptr ? waiting() : mainWindow();
    auto *pEdit = pWindow->findChild<QLineEdit *>(strName);
    if (pEdit == nullptr || !pEdit->isEnabled())
        return strName + " takes no text";
    pEdit->setText(strText);
    return {};
}

QString pressReturn(const QString &strName)
{
    for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
        QKeyEvent event(type, Qt::Key_Return, Qt::NoModifier, "\r");
        QApplication::sendEvent(mainWindow()->findChild<QLineEdit *>(strName), &event);
    }
    return {};
}

/// Does one thing, which may open a box and so return only when the box is closed.
QString perform(const QJsonObject &order)
{
    const QString strDo = order["do"].toString();
    const QString strName = order["name"].toString();
    if (strDo == "click")
        return click(mainWindow(), strName);
    if (strDo == "answer")
        return waiting() == nullptr ? "nothing asks" : click(waiting(), strName);
    if (strDo == "choose")
        return chooseAction(strName);
    if (strDo == "text")
        return setText(strName, order["text"].toString());
    if (strDo == "return")
        return pressReturn(strName);
    if (strDo == "close")
        return mainWindow()->close() ? QString() : "the window stays";
    const int iRow = order["row"].toInt();
    if (strDo == "group") {
        mainWindow()->findChild<QComboBox *>("groupComboBox")->setCurrentIndex(iRow);
        return {};
    }
    if (iRow >= table()->model()->rowCount())
        return "no such row";
    if (strDo == "tick") {
        QAbstractItemModel *pModel = table()->model();
        pModel->setData(pModel->index(iRow, 0), Qt::Checked, Qt::CheckStateRole);
        return {};
    }
    if (strDo == "details")
        return doubleClick(iRow);
    if (strDo == "menu")
        return openMenu(iRow);
    return "nobody knows how to " + strDo;
}

/// Takes the player's lines and keeps what it will ask for. Lives on the GUI thread.
class Remote : public QObject
{
    Q_OBJECT

public:
    explicit Remote(QCoreApplication *pApplication);

private slots:
    void start();
    void onConnection();
    void onLines();
    void onEnded(QNetworkReply *pReply);
    void obey(const QByteArray &baLine);

private:
    QJsonObject report() const;
    void setNames(const QString &strMode);
    void reset();

    QLocalServer m_server;
    QLocalSocket *m_pPlayer = nullptr;           // the server's
    QNetworkAccessManager *m_pManager = nullptr; // the window's
    Heart m_heart;
    QJsonArray m_ended;
    QJsonArray m_refused; // what could not be done
};

Remote::Remote(QCoreApplication *pApplication) : QObject(pApplication)
{
    // Not later: at its own end the application has no event loop for a socket any more.
    connect(pApplication, SIGNAL(aboutToQuit()), this, SLOT(deleteLater()));
    // From the event loop: by then the window is complete.
    QMetaObject::invokeMethod(this, "start", Qt::QueuedConnection);
}

void Remote::start()
{
    m_pManager = mainWindow()->findChild<QNetworkAccessManager *>();
    connect(m_pManager, SIGNAL(finished(QNetworkReply*)), this, SLOT(onEnded(QNetworkReply*)));
    connect(&m_server, SIGNAL(newConnection()), this, SLOT(onConnection()));
    if (!m_server.listen(qEnvironmentVariable("VELTRANO_REMOTE")))
        qFatal("The remote cannot listen: %s", qPrintable(m_server.errorString()));
}

void Remote::onConnection()
{
    m_pPlayer = m_server.nextPendingConnection();
    connect(m_pPlayer, SIGNAL(readyRead()), this, SLOT(onLines()));
}

void Remote::onLines()
{
    // Each one from the event loop: inside this slot no further line would be announced, and what
    // opens a box returns only when a later line has closed it.
    while (m_pPlayer->canReadLine())
        QMetaObject::invokeMethod(this, "obey", Qt::QueuedConnection,
                                  Q_ARG(QByteArray, m_pPlayer->readLine()));
}

/// Comes before the window's own slot, which may delete the reply.
void Remote::onEnded(QNetworkReply *pReply)
{
    const char *pError =
        QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(pReply->error());
    m_ended.append(QJsonObject{
        {"request", requestName(pReply->url())},
        {"error", pError},
        {"status", pReply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt()}});
}

void Remote::obey(const QByteArray &baLine)
{
    const QJsonObject order = QJsonDocument::fromJson(baLine).object();
    const QString strDo = order["do"].toString();
    if (strDo == "reset")
        reset();
    else if (strDo == "names")
        setNames(order["name"].toString());
    else if (strDo == "clock")
        setClockAhead(static_cast<long>(order["ahead"].toDouble()));
    const bool bOwn = strDo == "reset" || strDo == "names" || strDo == "clock" || strDo == "see";
    // Answered first: what opens a box comes back only when the box is closed.
    m_pPlayer->write(QJsonDocument(bOwn ? report() : QJsonObject()).toJson(QJsonDocument::Compact) +
                     '\n');
    m_pPlayer->flush();
    if (bOwn)
        return;
    const QString strRefused = perform(order);
    if (!strRefused.isEmpty())
        m_refused.append(strRefused);
}

QJsonObject Remote::report() const
{
    return {{"windows", otherWindows()},
            {"widgets", namedWidgets(mainWindow())},
            {"table", tableObject()},
            {"running", runningRequests(m_pManager)},
            {"ended", m_ended},
            {"refused", m_refused},
            {"other_names", QJsonArray::fromStringList(otherNamesAsked())},
            {"names_waiting", namesWaiting()},
            {"gap", m_heart.longestGap()}};
}

void Remote::reset()
{
    m_ended = {};
    m_refused = {};
    forgetOtherNames();
    m_heart.restart();
}

void Remote::setNames(const QString &strMode)
{
    setResolving(strMode == "known"     ? Resolving::Known
                 : strMode == "unknown" ? Resolving::Unknown
                                        : Resolving::Silent);
    if (strMode == "known")
        return;
    // The framework would know the host's address for a minute. It keeps so many names and no more.
    for (int iName = 0; iName < RememberedNames; ++iName)
        QHostInfo::fromName(QString("%1" FILLER_DOMAIN).arg(iName));
}

void startRemote()
{
    if (qEnvironmentVariableIsSet("VELTRANO_REMOTE"))
        new Remote(QCoreApplication::instance());
}
} // namespace

Q_COREAPP_STARTUP_FUNCTION(startRemote)

#include "remote.moc"
