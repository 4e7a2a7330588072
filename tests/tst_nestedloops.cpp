// What can happen while a question, the context menu or the dialog waits for the operator: replies
// go on arriving and the table becomes another one, commands start anew, the program ends.

#include "servedtest.h"

#include "details/edittracker.h"

#include <QAction>
#include <QCalendarWidget>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QTimer>

namespace {
const char *const Trackers =
    R"({"deviceSn":"1000001"},)"
    R"({"deviceSn":"1000002","activations":[{"id":"1234","done":"0"},{"id":"8","done":"0"}]},)"
    R"({"deviceSn":"1000003"})";
const char *const OtherTrackers = R"({"deviceSn":"2000001"})";
const char *const Fox = R"({"name":"Fox","deviceSN":"1000001","SN":"77"})";
constexpr const char *GroupsPath = "/bsGetMyGroups.php";
constexpr const char *InfoPath = "/bsGetGroupTrackerInfo.php";

/// What waits for the operator in an event loop of its own.
enum class Loop { Activation, Profile, Menu, Dialog };
/// What happens meanwhile.
enum class Event { Logout, LogoutWithTrackers, Rebuild, GroupChange, DoneCommand };
/// How the program ends meanwhile.
enum class Ending { Quit, CloseAllWindows, CloseWindow };

constexpr Loop Loops[] = {Loop::Activation, Loop::Profile, Loop::Menu, Loop::Dialog};

const char *nameOf(Loop loop)
{
    switch (loop) {
    case Loop::Activation:
        return "activation question";
    case Loop::Profile:
        return "profile question";
    case Loop::Menu:
        return "menu";
    case Loop::Dialog:
        break;
    }
    return "dialog";
}

const char *pathOf(Loop loop)
{
    switch (loop) {
    case Loop::Activation:
        return "/activateTrackers.php";
    case Loop::Profile:
        return "/extendTrackers.php";
    case Loop::Menu:
        return "/removeActivation.php";
    case Loop::Dialog:
        break;
    }
    return InfoPath;
}

/// Answers as the operator does who wants the command.
void affirm(QWidget *pOpen)
{
    if (auto *pBox = qobject_cast<QMessageBox *>(pOpen)) {
        pBox->button(QMessageBox::Yes)->click();
    } else if (auto *pMenu = qobject_cast<QMenu *>(pOpen)) {
        pMenu->setActiveAction(pMenu->actions().value(0));
        QTest::keyClick(pMenu, Qt::Key_Return);
    } else {
        childOf<QDialogButtonBox>(pOpen, "buttonBox")->button(QDialogButtonBox::Ok)->click();
    }
}

bool isOf(Loop loop, const QWidget *pOpen)
{
    switch (loop) {
    case Loop::Activation:
    case Loop::Profile:
        return qobject_cast<const QMessageBox *>(pOpen);
    case Loop::Menu:
        return qobject_cast<const QMenu *>(pOpen);
    case Loop::Dialog:
        break;
    }
    return qobject_cast<const EditTracker *>(pOpen);
}

/// A sender of its own, which may go while its signal is still being handled.
class Knob : public QObject
{
    Q_OBJECT

signals:
    void turned(bool bOn);
};
} // namespace

Q_DECLARE_METATYPE(Loop)
Q_DECLARE_METATYPE(Event)
Q_DECLARE_METATYPE(Ending)

class TestNestedLoops : public ServedTest
{
    Q_OBJECT

private slots:
    void undisturbed_data();
    void undisturbed();
    void tableChanges_data();
    void tableChanges();
    void newTicksCount_data();
    void newTicksCount();
    void secondCommand_data();
    void secondCommand();
    void rowsMoveUnderTheMenu();
    void senderVanishes();
    void programEnds_data();
    void programEnds();
    void windowGoesWithRequestsUnderWay_data();
    void windowGoesWithRequestsUnderWay();

private:
    void prepare();
    void open(Loop loop);
    void whileOpen(Loop loop, const std::function<void(QWidget *)> &action);
    void happen(Event event);
    void sendEarlierCommand();
    QList<QByteArray> sent(Loop loop) const;
};

/// A table with all rows ticked. Under way are a second reply with trackers, one with groups and
/// two with details.
void TestNestedLoops::prepare()
{
    fill(Trackers);
    combo()->setCurrentIndex(1);
    combo()->setCurrentIndex(0);
    serveTrackers(Trackers);
    click("buttonRefresh");
    for (int iRow : {1, 0})
        QMetaObject::invokeMethod(view(), "doubleClicked",
                                  Q_ARG(QModelIndex, model()->index(iRow, 0)));
    QTRY_COMPARE(server()->requests().size(), 6);
    widget<QCalendarWidget>("calendarWidget")->setSelectedDate(QDate(2024, 3, 1));
    view()->expandAll();
    tick({0, 1, 2});
    clearInfoLog();
}

/// Starts what leads to the loop; for all but the dialog it returns when the loop has ended.
void TestNestedLoops::open(Loop loop)
{
    switch (loop) {
    case Loop::Activation:
        click("activateButton");
        return;
    case Loop::Profile:
        click("extendProfile");
        return;
    case Loop::Menu: {
        const QModelIndex period = model()->index(0, 0, model()->index(1, 0));
        const QPoint place = view()->visualRect(period).center();
        QMetaObject::invokeMethod(view(), "customContextMenuRequested", Q_ARG(QPoint, place));
        return;
    }
    case Loop::Dialog:
        serve(InfoPath, Fox);
        return;
    }
}

/// Opens and acts; returns when the loop has ended.
void TestNestedLoops::whileOpen(Loop loop, const std::function<void(QWidget *)> &action)
{
    const WhileOpen visit([&](QWidget *pOpen) {
        QVERIFY(isOf(loop, pOpen));
        action(pOpen);
    });
    open(loop);
    QTRY_VERIFY(visit.hasActed());
}

void TestNestedLoops::happen(Event event)
{
    switch (event) {
    case Event::Logout:
        serve(GroupsPath, R"({"rcode":-99})");
        QTRY_COMPARE(combo()->count(), 0);
        QVERIFY(!view()->isEnabled());
        QCOMPARE(model()->columnCount(), 0);
        return;
    case Event::LogoutWithTrackers:
        serve(TrackersPath, R"({"rcode":-99,"trackers":[)" + QByteArray(OtherTrackers) + "]}");
        QTRY_COMPARE(combo()->count(), 0);
        QCOMPARE(model()->rowCount(), 1);
        return;
    case Event::Rebuild:
        serveTrackers(OtherTrackers);
        QCOMPARE(model()->rowCount(), 1);
        return;
    case Event::GroupChange:
        combo()->setCurrentIndex(1);
        QCOMPARE(model()->rowCount(), 0);
        return;
    case Event::DoneCommand:
        serve(pathOf(Loop::Profile), "{}");
        QTRY_VERIFY(infoLog().contains("Done"));
        QCOMPARE(model()->rowCount(), 0);
        return;
    }
}

/// A command whose reply is still to come.
void TestNestedLoops::sendEarlierCommand()
{
    BoxAnswers answers({QMessageBox::Yes});
    click("normalProfile");
    QCOMPARE(answers.seen().size(), 1);
}

/// What the loop's command has sent, without what was sent before it: bodies, or targets for those
/// that have none.
QList<QByteArray> TestNestedLoops::sent(Loop loop) const
{
    QList<QByteArray> found;
    const QList<ScriptedServer::Request> requests = server()->requestsTo(pathOf(loop));
    for (const ScriptedServer::Request &request : requests) {
        if (!request.target().contains("fx=getInfo") && !request.body.startsWith("extend=N"))
            found << (request.body.isEmpty() ? request.target() : request.body);
    }
    return found;
}

void TestNestedLoops::undisturbed_data()
{
    QTest::addColumn<Loop>("loop");
    for (Loop loop : Loops)
        QTest::newRow(nameOf(loop)) << loop;
}

void TestNestedLoops::undisturbed()
{
    QFETCH(Loop, loop);
    prepare();
    whileOpen(loop, affirm);
    QTRY_COMPARE(sent(loop).size(), 1);
    QCOMPARE(server()->requests().size(), 7);
    QVERIFY(!sent(loop).value(0).contains("posted=[%0A]"));
}

void TestNestedLoops::tableChanges_data()
{
    QTest::addColumn<Loop>("loop");
    QTest::addColumn<Event>("event");
    QTest::addColumn<QByteArray>("sent");
    // Nothing is ticked any more: the empty array is what is sent.
    const QByteArray baActivation = "posted=[%0A]%0A";
    const QByteArray baProfile = "extend=Y&posted=[%0A]%0A";
    // These were read before and do not depend on the table.
    const QByteArray baRemoval = "/removeActivation.php?activationId=1234";
    const QByteArray baSave = "/bsGetGroupTrackerInfo.php?fx=saveInfo&groupId";
    const struct
    {
        const char *pName;
        Event event;
        QByteArray group;
    } events[] = {{"logout", Event::Logout, ""},
                  {"logout with trackers", Event::LogoutWithTrackers, ""},
                  {"rebuild", Event::Rebuild, "=12%20-%20Club%20A"},
                  {"group change", Event::GroupChange, "=40%20-%20Club%20B"},
                  {"an earlier command is done", Event::DoneCommand, "=12%20-%20Club%20A"}};
    for (const auto &row : events) {
        QTest::addRow("activation question, %s", row.pName)
            << Loop::Activation << row.event << baActivation;
        QTest::addRow("profile question, %s", row.pName) << Loop::Profile << row.event << baProfile;
        QTest::addRow("menu, %s", row.pName) << Loop::Menu << row.event << baRemoval;
        QTest::addRow("dialog, %s", row.pName)
            << Loop::Dialog << row.event << baSave + row.group + "&SN=77&name=Fox";
    }
}

void TestNestedLoops::tableChanges()
{
    QFETCH(Loop, loop);
    QFETCH(Event, event);
    QFETCH(QByteArray, sent);
    prepare();
    if (event == Event::DoneCommand)
        sendEarlierCommand();
    whileOpen(loop, [&](QWidget *pOpen) {
        happen(event);
        clearInfoLog();
        QVERIFY(pOpen->isVisible());
        affirm(pOpen);
    });
    QTRY_COMPARE(this->sent(loop), QList<QByteArray>() << sent);
    if (loop == Loop::Activation)
        QVERIFY(infoLog().contains(R"("[\n]\n")"));
    if (loop == Loop::Menu)
        QCOMPARE(infoLog().mid(0, 2), QStringList({"Remove: 1234", "1"}));
    QCOMPARE(view()->isEnabled(), event != Event::Logout && event != Event::LogoutWithTrackers);

    // The command's end is as always: with no group left there is no reload.
    if (loop == Loop::Dialog)
        return;
    serve(pathOf(loop), "{}");
    QTRY_VERIFY(infoLog().contains("Done"));
    QCOMPARE(bar()->isHidden(), combo()->count() == 0);
}

void TestNestedLoops::newTicksCount_data()
{
    QTest::addColumn<Loop>("loop");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("activation question")
        << Loop::Activation
        << QByteArray("posted=[%0A    %7B%0A        %22days%22: %227%22,%0A"
                      "        %22deviceSn%22: %222000001%22,%0A"
                      "        %22start%22: %222024-03-01%22%0A    %7D%0A]%0A");
    QTest::newRow("profile question")
        << Loop::Profile
        << QByteArray("extend=Y&posted=[%0A    %7B%0A        %22deviceSn%22: %222000001%22%0A"
                      "    %7D%0A]%0A");
}

void TestNestedLoops::newTicksCount()
{
    QFETCH(Loop, loop);
    QFETCH(QByteArray, sent);
    prepare();
    whileOpen(loop, [&](QWidget *pOpen) {
        happen(Event::Rebuild);
        tick({0});
        affirm(pOpen);
    });
    QTRY_COMPARE(this->sent(loop), QList<QByteArray>() << sent);
}

void TestNestedLoops::secondCommand_data()
{
    QTest::addColumn<Loop>("outer");
    QTest::addColumn<Loop>("inner");
    for (Loop outer : Loops) {
        for (Loop inner : Loops)
            QTest::addRow("%s in %s", nameOf(inner), nameOf(outer)) << outer << inner;
    }
}

void TestNestedLoops::secondCommand()
{
    QFETCH(Loop, outer);
    QFETCH(Loop, inner);
    // The framework closes a menu when a modal window opens: that menu was dismissed.
    const bool bDismissed = outer == Loop::Menu && inner != Loop::Menu;
    prepare();
    whileOpen(outer, [&](QWidget *pOuter) {
        const QPointer<QWidget> pStill = pOuter;
        whileOpen(inner, [&](QWidget *pInner) {
            QVERIFY(pInner != pOuter);
            affirm(pInner);
        });
        QVERIFY(pStill);
        QCOMPARE(pStill->isVisible(), !bDismissed);
        QCOMPARE(replies(), 5); // the inner one has sent, the outer one has not
        if (!bDismissed)
            affirm(pOuter);
    });
    QCOMPARE(replies(), bDismissed ? 5 : 6);
    QTRY_COMPARE(server()->requests().size(), bDismissed ? 7 : 8);
    QCOMPARE(sent(inner).size(), outer == inner ? 2 : 1);
    QCOMPARE(sent(outer).size(), bDismissed ? 0 : sent(inner).size());
}

void TestNestedLoops::rowsMoveUnderTheMenu()
{
    prepare();
    whileOpen(Loop::Menu, [&](QWidget *pOpen) {
        model()->removeRow(0);
        model()->item(0)->removeRow(0);
        affirm(pOpen);
    });
    // The row is the one that was clicked, wherever its tracker stands by now.
    QCOMPARE(infoLog(), QStringList({"Remove: 1234", "1"}));
    QTRY_COMPARE(sent(Loop::Menu), QList<QByteArray>()
                                       << "/removeActivation.php?activationId=1234");
}

void TestNestedLoops::senderVanishes()
{
    prepare();
    auto *pKnob = new Knob;
    pKnob->setObjectName("a knob");
    QVERIFY(connect(pKnob, SIGNAL(turned(bool)), window(), SLOT(setProfileButton(bool))));
    const WhileOpen visit([&](QWidget *pOpen) {
        delete pKnob;
        affirm(pOpen);
    });
    emit pKnob->turned(true);
    QTRY_COMPARE(sent(Loop::Profile).size(), 1);
    QVERIFY(sent(Loop::Profile).value(0).startsWith("extend=Y&"));
}

void TestNestedLoops::programEnds_data()
{
    QTest::addColumn<Loop>("loop");
    QTest::addColumn<Ending>("ending");
    for (Loop loop : Loops) {
        QTest::addRow("%s, quit", nameOf(loop)) << loop << Ending::Quit;
        QTest::addRow("%s, all windows closed", nameOf(loop)) << loop << Ending::CloseAllWindows;
        QTest::addRow("%s, window closed", nameOf(loop)) << loop << Ending::CloseWindow;
    }
}

void TestNestedLoops::programEnds()
{
    QFETCH(Loop, loop);
    QFETCH(Ending, ending);
    prepare();
    window()->show();
    const int iReplies = replies();
    const int iRequests = server()->requests().size();
    bool bEnded = false;
    const auto end = [&](QWidget *pOpen) {
        QVERIFY(pOpen->isVisible());
        clearInfoLog();
        if (ending == Ending::Quit)
            QApplication::quit();
        else if (ending == Ending::CloseAllWindows)
            QApplication::closeAllWindows();
        else
            window()->close();
        bEnded = true;
    };
    QTimer::singleShot(0, window(), [&] { whileOpen(loop, end); });
    QCOMPARE(QApplication::exec(), 0);
    QVERIFY(bEnded);
    QVERIFY(!QApplication::activeModalWidget() && !QApplication::activePopupWidget());
    QCOMPARE(replies(), iReplies);
    QCOMPARE(server()->requests().size(), iRequests);
    QCOMPARE(infoLog(), loop == Loop::Menu ? QStringList("1") : QStringList());
    QCOMPARE(window()->findChildren<QDialog *>().size(), 0);
    destroyWindow();
}

void TestNestedLoops::windowGoesWithRequestsUnderWay_data()
{
    undisturbed_data();
}

void TestNestedLoops::windowGoesWithRequestsUnderWay()
{
    QFETCH(Loop, loop);
    prepare();
    whileOpen(loop, affirm);
    QTRY_COMPARE(sent(loop).size(), 1);
    destroyWindow();
    server()->release(pathOf(loop), "{}"); // to nobody
    QCoreApplication::processEvents();
    QCOMPARE(infoLog().filter("Done"), QStringList());
}

VELTRANO_TEST_MAIN(TestNestedLoops)
#include "tst_nestedloops.moc"
