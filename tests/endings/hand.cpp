// A hand inside a running client, for where it has no screen: loaded into the process from outside,
// it does what each line on a local socket asks for and tells what the window shows.

#include "qtversions.h"

#include <QAbstractButton>
#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QCalendarWidget>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDate>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QNetworkReply>
#include <QSpinBox>
#include <QStringList>
#include <QTimer>
#include <QTreeView>

#include <dlfcn.h>

#include <ctime>

namespace {
QMainWindow *mainWindow()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *pWindow : windows) {
        if (auto *pMain = qobject_cast<QMainWindow *>(pWindow))
            return pMain;
    }
    return nullptr;
}

template <typename Widget>
Widget *child(const QString &strName)
{
    auto *pChild = mainWindow()->findChild<Widget *>(strName);
    if (!pChild)
        qFatal("The hand finds no %s.", qPrintable(strName));
    return pChild;
}

QTreeView *table()
{
    return child<QTreeView>("treeView");
}

/// A tracker's row, or that of one of its periods.
QModelIndex row(const QStringList &words)
{
    const QModelIndex tracker = table()->model()->index(words.value(0).toInt(), 0);
    return words.size() > 1 ? table()->model()->index(words.at(1).toInt(), 0, tracker) : tracker;
}

// What the hand does; each takes the words behind its name.

void answer(const QStringList &words)
{
    const QList<QAbstractButton *> buttons =
        QApplication::activeModalWidget()->findChildren<QAbstractButton *>();
    for (QAbstractButton *pButton : buttons) {
        if (pButton->text().remove('&') == words.at(0)) {
            pButton->click();
            return;
        }
    }
    qFatal("The hand finds no button %s.", qPrintable(words.at(0)));
}

void changeZone(const QStringList &words)
{
    qputenv("TZ", words.at(0).toLatin1());
    tzset();
}

void chooseAction(const QStringList &words)
{
    auto *pMenu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
    pMenu->setActiveAction(pMenu->actions().at(words.at(0).toInt()));
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QCoreApplication::sendEvent(pMenu, &press);
}

void chooseGroup(const QStringList &words)
{
    child<QComboBox>("groupComboBox")->setCurrentIndex(words.at(0).toInt());
}

void click(const QStringList &words)
{
    child<QAbstractButton>(words.at(0))->click();
}

void closeWindow(const QStringList &)
{
    mainWindow()->close();
}

void openDetails(const QStringList &words)
{
    emit table()->doubleClicked(row(words));
}

void openGroups(const QStringList &)
{
    child<QComboBox>("groupComboBox")->showPopup();
}

void openMenu(const QStringList &words)
{
    table()->expandAll();
    const QPoint place = table()->visualRect(row(words)).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, place,
                            table()->viewport()->mapToGlobal(place));
    QCoreApplication::sendEvent(table()->viewport(), &event);
}

/// What the system's own ways to quit end in.
void quit(const QStringList &)
{
    // The later versions' quit() does nothing before the application's event loop runs.
    QCoreApplication::exit(0);
}

void rename(const QStringList &words)
{
    QApplication::activeModalWidget()
        ->findChild<QLineEdit *>("trackerNameLineEdit")
        ->setText(words.at(0));
}

void scan(const QStringList &words)
{
    QMetaObject::invokeMethod(mainWindow(), "signalGotSN", Q_ARG(QString, words.at(0)));
}

void setDate(const QStringList &words)
{
    child<QCalendarWidget>("calendarWidget")
        ->setSelectedDate(QDate::fromString(words.at(0), Qt::ISODate));
}

void setDays(const QStringList &words)
{
    child<QSpinBox>("weeksSpinBox")->setValue(words.at(0).toInt());
}

void tick(const QStringList &words)
{
    table()->model()->setData(row(words), Qt::Checked, Qt::CheckStateRole);
}

void type(const QStringList &words)
{
    child<QLineEdit>(words.at(0))->setText(words.at(1));
}

using Action = void (*)(const QStringList &words);

Action action(const QString &strName)
{
    static const QHash<QString, Action> actions{
        {"answer", answer},     {"choose", chooseAction}, {"click", click},
        {"close", closeWindow}, {"combo", openGroups},    {"date", setDate},
        {"days", setDays},      {"details", openDetails}, {"group", chooseGroup},
        {"menu", openMenu},     {"quit", quit},           {"rename", rename},
        {"scan", scan},         {"tick", tick},           {"type", type},
        {"zone", changeZone}};
    const Action found = actions.value(strName);
    if (!found)
        qFatal("The hand cannot do this: %s.", qPrintable(strName));
    return found;
}

// What the hand tells

QJsonArray rows(const QModelIndex &parent)
{
    const QAbstractItemModel *pModel = table()->model();
    QJsonArray report;
    for (int iRow = 0; iRow < pModel->rowCount(parent); ++iRow) {
        const QModelIndex index = pModel->index(iRow, 0, parent);
        report.append(QJsonObject{{"text", index.data().toString()},
                                  {"ticked", index.data(Qt::CheckStateRole) == Qt::Checked},
                                  {"rows", rows(index)}});
    }
    return report;
}

/// The windows that are open besides the main one.
QJsonArray openWindows()
{
    QJsonArray report;
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (const QWidget *pWindow : windows) {
        if (!pWindow->isVisible() || pWindow == mainWindow())
            continue;
        QJsonObject window{{"class", pWindow->metaObject()->className()},
                           {"window", double(pWindow->winId())},
                           {"active", pWindow->isActiveWindow()},
                           {"title", pWindow->windowTitle()}};
        if (const auto *pBox = qobject_cast<const QMessageBox *>(pWindow))
            window["text"] = pBox->text();
        if (const auto *pMenu = qobject_cast<const QMenu *>(pWindow))
            window["actions"] = pMenu->actions().size();
        report.append(window);
    }
    return report;
}

QJsonObject mainReport()
{
    return {
        {"window", double(mainWindow()->winId())},
        {"visible", mainWindow()->isVisible()},
        {"active", mainWindow()->isActiveWindow()},
        {"user", child<QLineEdit>("userLineEdit")->text()},
        {"button", child<QAbstractButton>("loginButton")->text()},
        {"group", child<QComboBox>("groupComboBox")->currentText()},
        {"count", child<QLabel>("numberTrackers")->text()},
        {"replies", mainWindow()->findChildren<QNetworkReply *>().size()},
        {"year_editor", child<QSpinBox>("qt_calendar_yearedit")->isVisible()},
        {"date", child<QCalendarWidget>("calendarWidget")->selectedDate().toString(Qt::ISODate)},
        {"today", QDate::currentDate().toString(Qt::ISODate)},
        {"days", child<QSpinBox>("weeksSpinBox")->text()},
        {"rows", rows(QModelIndex())}};
}

/// A message of an X client to a window, as the framework hands it on.
struct ClientMessage
{
    quint8 type;
    quint8 format;
    quint16 sequence;
    quint32 window;
    quint32 kind;
    quint32 data[5];
};
constexpr quint8 ClientMessageType = 33;

/// Answers each line; counts what the window manager asks, which a box may keep from being done.
class Hand : public QObject, QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    explicit Hand(QCoreApplication *pApplication);

    bool nativeEventFilter(const QByteArray &baKind, void *pEvent, NativeResult *pResult) override;

private slots:
    void start();
    void onConnection();
    void onLine();

private:
    QLocalServer m_server;
    quint32 m_uCloseAtom = qEnvironmentVariable("VELTRANO_CLOSE_ATOM").toUInt();
    int m_iClosesAsked = 0;
};

Hand::Hand(QCoreApplication *pApplication) : QObject(pApplication)
{
    // Not later: at its own end the application has no event loop for a socket any more.
    connect(pApplication, SIGNAL(aboutToQuit()), this, SLOT(deleteLater()));
    // From the event loop: by then the application object is complete.
    QMetaObject::invokeMethod(this, "start", Qt::QueuedConnection);
}

void Hand::start()
{
    connect(&m_server, SIGNAL(newConnection()), this, SLOT(onConnection()));
    if (!m_server.listen(qEnvironmentVariable("VELTRANO_HAND")))
        qFatal("The hand cannot listen: %s", qPrintable(m_server.errorString()));
    qApp->installNativeEventFilter(this);
}

bool Hand::nativeEventFilter(const QByteArray &baKind, void *pEvent, NativeResult *pResult)
{
    Q_UNUSED(pResult)
    const auto *pMessage = static_cast<const ClientMessage *>(pEvent);
    if (baKind == "xcb_generic_event_t" && (pMessage->type & 0x7f) == ClientMessageType &&
        pMessage->data[0] == m_uCloseAtom)
        ++m_iClosesAsked;
    return false;
}

void Hand::onConnection()
{
    QLocalSocket *pSocket = m_server.nextPendingConnection();
    connect(pSocket, SIGNAL(readyRead()), this, SLOT(onLine()));
    connect(pSocket, SIGNAL(disconnected()), pSocket, SLOT(deleteLater()));
}

/// An empty line asks for what is shown; any other is an action's name and its words.
void Hand::onLine()
{
    auto *pSocket = qobject_cast<QLocalSocket *>(sender());
    while (pSocket->canReadLine()) {
        const QByteArray baLine = pSocket->readLine();
        QJsonObject report{{"open", openWindows()}, {"closes_asked", m_iClosesAsked}};
        if (mainWindow())
            report["main"] = mainReport();
        QStringList words = QJsonDocument::fromJson(baLine).toVariant().toStringList();
        if (!words.isEmpty()) {
            const Action act = action(words.takeFirst());
            // Behind the answer: a box, menu or dialog that opens keeps this call from returning.
            QTimer::singleShot(0, this, [act, words] { act(words); });
        }
        pSocket->write(QJsonDocument(report).toJson(QJsonDocument::Compact) + '\n');
    }
}

/// As in a program whose build went wrong: its resources are not to be found.
void takeResourcesAway()
{
    using Cleanup = int (*)();
    void *pCleanup = dlsym(RTLD_DEFAULT, "_Z29qCleanupResources_myresourcesv");
    if (!pCleanup)
        qFatal("The hand finds no resources.");
    reinterpret_cast<Cleanup>(pCleanup)();
}

void startHand()
{
    if (!qEnvironmentVariableIsSet("VELTRANO_HAND"))
        return;
    if (qEnvironmentVariableIsSet("VELTRANO_WITHOUT_RESOURCES"))
        takeResourcesAway();
    new Hand(QCoreApplication::instance());
}
} // namespace

Q_COREAPP_STARTUP_FUNCTION(startHand)

#include "hand.moc"
