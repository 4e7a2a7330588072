// Works a running client for a driver outside of it, without screen or mouse: loaded into the
// process, it clicks, ticks and answers by object names, and says what the process holds.

#include "probe.h"

#include "numbers.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCalendarWidget>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDialogButtonBox>
#include <QJsonDocument>
#include <QKeyEvent>
#include <QLineEdit>
#include <QLocalSocket>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPushButton>
#include <QSpinBox>
#include <QThread>
#include <QTreeView>

#include <cstdio>

// There where the calls of the process are made to fail, see tests/failingcalls: while it is paused
// no call of the calling thread fails or is counted.
extern "C" void failing_calls_pause(int iPause) __attribute__((weak));
extern "C" void failing_calls_mark() __attribute__((weak));

namespace {
constexpr int DoneRole = Qt::UserRole + 1;
constexpr int StepLimit = 3000; // ms, for a step of a script
constexpr int WindowLook = 10;  // ms
constexpr int OwnLoopLevel = 1; // of the program's own event loop

/// Around what the probe does for itself.
class Pause
{
public:
    explicit Pause(int iPause = 1) : m_iPause(iPause) { apply(m_iPause); }
    ~Pause() { apply(-m_iPause); }
    Q_DISABLE_COPY(Pause)

private:
    static void apply(int iPause)
    {
        if (failing_calls_pause)
            failing_calls_pause(iPause);
    }
    int m_iPause;
};

/// Around what it has the program do.
class Resume : public Pause
{
public:
    Resume() : Pause(-1) {}
};

template <typename Widget>
Widget *named(const QWidget *pWindow, const char *pName)
{
    return pWindow->findChild<Widget *>(pName);
}

/// By its name or, for those without one, by its text, whatever letter of it is underlined.
QAbstractButton *findButton(const QWidget *pWindow, const QString &strButton)
{
    const auto buttons = pWindow->findChildren<QAbstractButton *>();
    for (QAbstractButton *pButton : buttons) {
        if (pButton->objectName() == strButton || pButton->text().remove('&') == strButton)
            return pButton;
    }
    qFatal("There is no button %s.", qPrintable(strButton));
}

void press(QWidget *pWidget, Qt::Key key)
{
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier, key == Qt::Key_Space ? " " : QString());
    QCoreApplication::sendEvent(pWidget, &event);
}

void sendMouse(QWidget *pWidget, QEvent::Type type, const QPoint &place)
{
    const Qt::MouseButtons held =
        type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, place, pWidget->mapToGlobal(place), Qt::LeftButton, held,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(pWidget, &event);
}

/// The periods of the table that can be removed.
QModelIndexList pendingPeriods(const QAbstractItemModel *pModel)
{
    QModelIndexList found;
    for (int iRow = 0; iRow < pModel->rowCount(); ++iRow) {
        const QModelIndex tracker = pModel->index(iRow, 0);
        for (int iPeriod = 0; iPeriod < pModel->rowCount(tracker); ++iPeriod) {
            const QModelIndex period = pModel->index(iPeriod, 0, tracker);
            if (period.data(DoneRole).toInt() == 0)
                found.append(period);
        }
    }
    return found;
}

int tickedRows(const QAbstractItemModel *pModel)
{
    int iTicked = 0;
    for (int iRow = 0; iRow < pModel->rowCount(); ++iRow)
        iTicked += pModel->index(iRow, 0).data(Qt::CheckStateRole).toInt() == Qt::Checked ? 1 : 0;
    return iTicked;
}
} // namespace

Probe::Probe(QCoreApplication *pApplication) : QObject(pApplication)
{
    // Not later: at its own end the application has no event loop for a socket any more.
    connect(pApplication, SIGNAL(aboutToQuit()), this, SLOT(deleteLater()));
    // Before there is a window: its construction may already open a box.
    pApplication->installEventFilter(this);
    m_script = qEnvironmentVariable("VELTRANO_PROBE_SCRIPT").split('\n', Qt::SkipEmptyParts);
    m_limit.setSingleShot(true);
    connect(&m_limit, SIGNAL(timeout()), this, SLOT(onLate()));
    QMetaObject::invokeMethod(this, "start", Qt::QueuedConnection);
}

void Probe::start()
{
    const Pause pause;
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *pWindow : windows) {
        if (pWindow->inherits("QMainWindow") && pWindow->isVisible())
            m_pWindow = pWindow;
    }
    if (!m_pWindow) {
        QTimer::singleShot(WindowLook, this, SLOT(start()));
        return;
    }
    m_pManager = m_pWindow->findChild<QNetworkAccessManager *>();
    // Before any slot of the window's: what it looks at is still there.
    connect(m_pManager, SIGNAL(finished(QNetworkReply*)), this, SLOT(look()), Qt::QueuedConnection);
    if (!m_script.isEmpty()) {
        if (failing_calls_mark)
            failing_calls_mark();
        nextLine();
    } else {
        listen();
    }
}

void Probe::listen()
{
    connect(&m_server, SIGNAL(newConnection()), this, SLOT(onConnection()));
    if (!m_server.listen(qEnvironmentVariable("VELTRANO_PROBE")))
        qFatal("The probe cannot listen: %s", qPrintable(m_server.errorString()));
}

bool Probe::eventFilter(QObject *pWatched, QEvent *pEvent)
{
    const QEvent::Type type = pEvent->type();
    if (type != QEvent::ChildAdded && type != QEvent::ChildRemoved && type != QEvent::Show &&
        type != QEvent::Hide)
        return false;

    const Pause pause;
    if (m_pManager && pWatched == m_pManager) {
        QObject *pChild = static_cast<QChildEvent *>(pEvent)->child();
        // One that is added is not made yet: what it is shows later.
        if (type == QEvent::ChildAdded)
            m_young.insert(pChild);
        else
            m_young.remove(pChild);
    } else if (qobject_cast<QDialog *>(pWatched) || qobject_cast<QMenu *>(pWatched)) {
        QMetaObject::invokeMethod(this, type == QEvent::Show ? "answer" : "look",
                                  Qt::QueuedConnection);
    }
    return false;
}

void Probe::onConnection()
{
    m_pSocket = m_server.nextPendingConnection();
    connect(m_pSocket, SIGNAL(readyRead()), this, SLOT(onInput()));
}

void Probe::onInput()
{
    // The driver waits for each answer, so there is never a second command.
    if (m_pSocket->canReadLine())
        obey(QString::fromUtf8(m_pSocket->readLine()).remove('\n').split('\t'));
}

void Probe::nextLine()
{
    if (m_script.isEmpty())
        return;
    m_limit.start(StepLimit);
    obey(m_script.takeFirst().split('\t'));
}

void Probe::obey(const QStringList &words)
{
    m_words = words;
    m_boxes = {};
    // From the event loop: a box that is opened must not hold up the socket's own slot.
    QMetaObject::invokeMethod(this, "act", Qt::QueuedConnection);
}

void Probe::act()
{
    const Pause pause;
    m_clicked.start();
    m_bDone = perform();
    m_bActed = true;
    look();
}

bool Probe::perform()
{
    const QString strVerb = word(0);
    const int iNumber = word(1).toInt();
    if (strVerb == "click")
        click(word(1));
    else if (strVerb == "choose")
        choose(iNumber);
    else if (strVerb == "fill")
        named<QLineEdit>(m_pWindow, word(1).toUtf8())->setText(word(2));
    else if (strVerb == "date")
        named<QCalendarWidget>(m_pWindow, "calendarWidget")
            ->setSelectedDate(QDate::currentDate().addDays(iNumber));
    else if (strVerb == "days")
        named<QSpinBox>(m_pWindow, "weeksSpinBox")->setValue(iNumber);
    else if (strVerb == "tick")
        return tick(iNumber);
    else if (strVerb == "remove")
        return remove(iNumber);
    else if (strVerb == "details")
        return openDetails(iNumber);
    else if (strVerb == "close")
        QMetaObject::invokeMethod(m_pWindow, "close", Qt::QueuedConnection);
    else if (strVerb == "own-model")
        // It lives until the process ends, and with its rows it would hide a loss of other rows.
        named<QTreeView>(m_pWindow, "treeView")->model()->setParent(m_pWindow);
    else if (strVerb == "free-kept")
        freeKeptReplies(m_pManager);
    else if (strVerb != "state" && strVerb != "numbers")
        qFatal("The probe does not know %s.", qPrintable(strVerb));
    return true;
}

void Probe::click(const QString &strButton)
{
    QAbstractButton *pButton = findButton(m_pWindow, strButton);
    const Resume resume;
    pButton->click();
}

void Probe::choose(int iGroup)
{
    auto *pBox = named<QComboBox>(m_pWindow, "groupComboBox");
    const Resume resume;
    pBox->setCurrentIndex(iGroup);
}

bool Probe::tick(int iRow)
{
    auto *pView = named<QTreeView>(m_pWindow, "treeView");
    const QModelIndex tracker = pView->model()->index(iRow, 0);
    if (!tracker.isValid())
        return false;
    const Resume resume;
    pView->setCurrentIndex(tracker);
    press(pView, Qt::Key_Space);
    return true;
}

bool Probe::remove(int iPeriod)
{
    auto *pView = named<QTreeView>(m_pWindow, "treeView");
    const QModelIndexList periods = pendingPeriods(pView->model());
    if (periods.isEmpty())
        return false;
    const QModelIndex period = periods.at(iPeriod % periods.size());
    const Resume resume;
    pView->expand(period.parent());
    pView->scrollTo(period);
    const QPoint place = pView->visualRect(period).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, place, pView->viewport()->mapToGlobal(place));
    QCoreApplication::sendEvent(pView->viewport(), &event);
    return true;
}

bool Probe::openDetails(int iRow)
{
    auto *pView = named<QTreeView>(m_pWindow, "treeView");
    const QModelIndex tracker = pView->model()->index(iRow, 0);
    if (!tracker.isValid() || !(tracker.flags() & Qt::ItemIsEnabled))
        return false;
    const Resume resume;
    pView->scrollTo(tracker);
    const QRect cell = pView->visualRect(tracker);
    const QPoint place(cell.right() - 1, cell.center().y()); // beside the box that ticks
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease,
                                    QEvent::MouseButtonDblClick, QEvent::MouseButtonRelease})
        sendMouse(pView->viewport(), type, place);
    return true;
}

void Probe::answer()
{
    const Pause pause;
    if (auto *pMenu = qobject_cast<QMenu *>(QApplication::activePopupWidget())) {
        answerMenu(pMenu);
        return;
    }
    QWidget *pDialog = QApplication::activeModalWidget();
    if (!pDialog)
        return; // closed meanwhile
    m_boxes.append(pDialog->windowTitle());
    if (const auto *pBox = qobject_cast<QMessageBox *>(pDialog))
        answerBox(pBox);
    else
        answerDetails(pDialog);
}

void Probe::answerMenu(QMenu *pMenu)
{
    const QList<QAction *> actions = pMenu->actions();
    const Resume resume;
    if (actions.isEmpty()) {
        pMenu->close();
        return;
    }
    pMenu->setActiveAction(actions.first());
    press(pMenu, Qt::Key_Return);
}

void Probe::answerBox(const QMessageBox *pBox)
{
    QAbstractButton *pAnswer = pBox->buttons().value(0);
    const QList<QAbstractButton *> buttons = pBox->buttons();
    for (QAbstractButton *pButton : buttons) {
        if (pButton->text().remove('&') == word(2))
            pAnswer = pButton;
    }
    const Resume resume;
    pAnswer->click();
}

void Probe::answerDetails(QWidget *pDialog)
{
    const QString strName = word(2);
    auto *pButtons = pDialog->findChild<QDialogButtonBox *>();
    const Resume resume;
    if (strName.isEmpty()) {
        pButtons->button(QDialogButtonBox::Cancel)->click();
        return;
    }
    named<QLineEdit>(pDialog, "trackerNameLineEdit")->setText(strName);
    pButtons->button(QDialogButtonBox::Ok)->click();
}

bool Probe::repliesUnderWay()
{
    for (auto it = m_young.begin(); it != m_young.end();) {
        const auto *pReply = qobject_cast<QNetworkReply *>(*it);
        it = pReply && pReply->isRunning() ? std::next(it) : m_young.erase(it);
    }
    return !m_young.isEmpty();
}

void Probe::look()
{
    const Pause pause;
    if (!m_bActed || QApplication::activePopupWidget() || QApplication::activeModalWidget() ||
        repliesUnderWay())
        return;
    // A box that was closed a moment ago: the slot that had opened it goes on behind this loop.
    if (QThread::currentThread()->loopLevel() > OwnLoopLevel) {
        QMetaObject::invokeMethod(this, "look", Qt::QueuedConnection);
        return;
    }
    finish(m_bDone ? "done" : "nothing");
}

void Probe::onLate()
{
    const Pause pause;
    // Whatever is open would otherwise be open for ever.
    if (QWidget *pOpen = QApplication::activePopupWidget())
        pOpen->close();
    if (QWidget *pOpen = QApplication::activeModalWidget())
        pOpen->close();
    finish("late");
}

void Probe::finish(const char *pOutcome)
{
    constexpr double NanosecondsPerMillisecond = 1e6;
    const double dMilliseconds = double(m_clicked.nsecsElapsed()) / NanosecondsPerMillisecond;
    QJsonObject report = word(0) == "numbers" ? processNumbers(m_pManager) : state();
    report["ms"] = dMilliseconds;
    report["command"] = word(0);
    report["outcome"] = pOutcome;
    m_bActed = false;
    say(report);
    nextLine();
}

QJsonObject Probe::state() const
{
    const auto *pView = named<QTreeView>(m_pWindow, "treeView");
    const QAbstractItemModel *pModel = pView->model();
    const auto *pGroups = named<QComboBox>(m_pWindow, "groupComboBox");
    return {{"boxes", m_boxes},
            {"logged_in", named<QAbstractButton>(m_pWindow, "loginButton")->text() == "Logout"},
            {"groups", pGroups->count()},
            {"group", pGroups->currentText()},
            {"rows", pModel->rowCount()},
            {"pending", pendingPeriods(pModel).size()},
            {"ticked", tickedRows(pModel)},
            {"current", pView->currentIndex().data().toString()}};
}

void Probe::say(const QJsonObject &object)
{
    const QByteArray baLine = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    if (m_pSocket) {
        m_pSocket->write(baLine);
        m_pSocket->flush();
    } else {
        std::fprintf(stderr, "PROBE %s", baLine.constData());
    }
}

namespace {
void startProbe()
{
    const Pause pause;
    if (qEnvironmentVariableIsSet("VELTRANO_PROBE") ||
        qEnvironmentVariableIsSet("VELTRANO_PROBE_SCRIPT"))
        new Probe(QCoreApplication::instance());
}
} // namespace

Q_COREAPP_STARTUP_FUNCTION(startProbe)
