// The keyboard around the window: where it begins, where Tab leads, and the keys that are added.

#include "servedtest.h"

#include "app/keyboard.h"

#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>

class TestKeyboard : public ServedTest
{
    Q_OBJECT

private slots:
    void startFocus_data();
    void startFocus();
    void tabForwards();
    void tabBackwards();
    void givenOrderStays();
    void f2OpensDetails();
    void f2OpensNothingElse_data();
    void f2OpensNothingElse();
    void f2EditsOtherColumns();
    void f2LeavesOtherWidgetsAlone();
    void typingGoesToTheTracker();
    void altDownOpensTheGroups();
    void shiftF10OpensTheMenuOfThePeriod();
    void shiftF10DoesWhatTheMenuKeyDoes();
    void shiftF10InALineEdit();
    void keysThatStay_data();
    void keysThatStay();

private:
    void setUp() override;
    void press(int iKey, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const
    {
        // As a key arrives: at the window, which hands it to the widget that has the keyboard.
        QTest::keyClick(window()->windowHandle(), Qt::Key(iKey), modifiers);
    }
    /// The widgets that a key leads through, by name, until it is back at the user field.
    QStringList way(int iKey, Qt::KeyboardModifiers modifiers) const;
    void fillTable();
};

namespace {
constexpr const char *DetailsPath = "/bsGetGroupTrackerInfo.php";

QString nameOf(const QWidget *pWidget)
{
    if (const auto *pButton = qobject_cast<const QPushButton *>(pWidget))
        return pButton->text();
    return pWidget->objectName();
}

QStringList reversed(QStringList list)
{
    std::reverse(list.begin(), list.end());
    return list;
}

const QStringList &wayOfTab()
{
    static const QStringList names{"userLineEdit",
                                   "passwordLineEdit",
                                   "Login",
                                   "groupComboBox",
                                   "treeView",
                                   "qt_calendar_calendarview",
                                   "weeksSpinBox",
                                   "buttonRefresh",
                                   "Select All",
                                   "Select none",
                                   "barReaderFound",
                                   "Normal Profile",
                                   "Extended Profile",
                                   "Schedule Activation",
                                   "New Group"};
    return names;
}
} // namespace

void TestKeyboard::setUp()
{
    ServedTest::setUp();
    completeTabOrder(window());
    new OperatorKeys(view());
    window()->show();
    QVERIFY(QTest::qWaitForWindowActive(window()));
    setStartFocus(window());
}

void TestKeyboard::fillTable()
{
    fill(R"({"deviceSn":"0041200","TrackerName":"Nora","state":"A","activations":)"
         R"([{"id":"7","startTime":"2026-03-01","endTime":"2026-03-07","done":"0"}]},)"
         R"({"deviceSn":"0041228","TrackerName":"Ida","state":"A"})");
    view()->setFocus();
}

void TestKeyboard::startFocus_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("focus");
    QTest::newRow("first start") << ""
                                 << "userLineEdit";
    QTest::newRow("remembered user") << "nora@club.example"
                                     << "passwordLineEdit";
}

void TestKeyboard::startFocus()
{
    QFETCH(QString, user);
    QFETCH(QString, focus);
    widget<QLineEdit>("userLineEdit")->setText(user);
    setStartFocus(window());
    QCOMPARE(QApplication::focusWidget()->objectName(), focus);
    press(Qt::Key_X);
    QVERIFY(childOf<QLineEdit>(window(), focus.toLatin1().constData())->text().endsWith('x'));
}

QStringList TestKeyboard::way(int iKey, Qt::KeyboardModifiers modifiers) const
{
    QStringList names;
    do {
        names << nameOf(QApplication::focusWidget());
        press(iKey, modifiers);
    } while (!widget<QLineEdit>("userLineEdit")->hasFocus() && names.size() < 40);
    return names;
}

void TestKeyboard::tabForwards()
{
    QCOMPARE(way(Qt::Key_Tab, Qt::NoModifier), wayOfTab());
}

void TestKeyboard::tabBackwards()
{
    const QStringList names = way(Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(names, QStringList(wayOfTab().first()) + reversed(wayOfTab().mid(1)));
}

void TestKeyboard::givenOrderStays()
{
    QStringList names;
    const QStringList given{"userLineEdit", "passwordLineEdit", "loginButton", "groupComboBox",
                            "treeView",     "calendarWidget",   "weeksSpinBox"};
    const QWidget *pFirst = widget<QLineEdit>("userLineEdit");
    const QWidget *pWidget = pFirst;
    do {
        if (given.contains(pWidget->objectName()))
            names << pWidget->objectName();
        pWidget = pWidget->nextInFocusChain();
    } while (pWidget != pFirst);
    QCOMPARE(names, given);
}

void TestKeyboard::f2OpensDetails()
{
    fillTable();
    view()->setCurrentIndex(model()->index(1, 0));
    press(Qt::Key_F2);
    QTRY_COMPARE(server()->requestsTo(DetailsPath).size(), 1);
    QVERIFY(server()->requestsTo(DetailsPath).first().head.contains("SN=0041228"));
    QCOMPARE(infoLog().value(0), QString("get info for  \"0041228\" \"12 - Club A\""));
}

void TestKeyboard::f2OpensNothingElse_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("column");
    QTest::addColumn<bool>("period");
    QTest::addColumn<int>("modifiers");
    QTest::newRow("period") << 0 << 0 << true << int(Qt::NoModifier);
    QTest::newRow("tracker's name") << 0 << 1 << false << int(Qt::NoModifier);
    QTest::newRow("no row") << -1 << 0 << false << int(Qt::NoModifier);
    QTest::newRow("with Shift") << 0 << 0 << false << int(Qt::ShiftModifier);
    QTest::newRow("with Control") << 0 << 0 << false << int(Qt::ControlModifier);
}

void TestKeyboard::f2OpensNothingElse()
{
    QFETCH(int, row);
    QFETCH(int, column);
    QFETCH(bool, period);
    QFETCH(int, modifiers);
    fillTable();
    QSignalSpy doubleClicks(view(), SIGNAL(doubleClicked(QModelIndex)));
    QModelIndex index = model()->index(row, column);
    if (period)
        index = model()->index(0, 0, index);
    view()->setCurrentIndex(index);
    QCOMPARE(view()->currentIndex(), index);
    press(Qt::Key_F2, Qt::KeyboardModifiers(modifiers));
    QCOMPARE(doubleClicks.size(), 0);
    QCOMPARE(infoLog(), QStringList());
}

void TestKeyboard::f2EditsOtherColumns()
{
    fillTable();
    view()->setCurrentIndex(model()->index(0, 1));
    press(Qt::Key_F2);
    auto *pEditor = qobject_cast<QLineEdit *>(QApplication::focusWidget());
    QVERIFY(pEditor);
    QCOMPARE(pEditor->text(), QString("Nora"));
    press(Qt::Key_F2); // in the editor it is no more than before
    press(Qt::Key_A);
    press(Qt::Key_Return);
    QCOMPARE(model()->index(0, 1).data().toString(), QString("a"));
    QCOMPARE(replies(), 0);
}

void TestKeyboard::f2LeavesOtherWidgetsAlone()
{
    fillTable();
    view()->setCurrentIndex(model()->index(0, 0));
    widget<QSpinBox>("weeksSpinBox")->setFocus();
    press(Qt::Key_F2);
    QCOMPARE(infoLog(), QStringList());
    QCOMPARE(replies(), 0);
}

void TestKeyboard::typingGoesToTheTracker()
{
    fillTable();
    QTest::keyClicks(view(), "004122");
    QCOMPARE(view()->currentIndex(), model()->index(1, 0));
}

void TestKeyboard::altDownOpensTheGroups()
{
    fillTable();
    combo()->setFocus();
    WhileOpen list([&](QWidget *pOpen) {
        QWidget *pList = pOpen->focusWidget() ? pOpen->focusWidget() : pOpen;
        QTest::keyClick(pList, Qt::Key_Down);
        QCOMPARE(combo()->currentIndex(), 0); // nothing is loaded on the way
        QTest::keyClick(pList, Qt::Key_Return);
    });
    press(Qt::Key_Down, Qt::AltModifier);
    QTRY_COMPARE(combo()->currentIndex(), 1);
    QVERIFY(list.hasActed());
    serveTrackers("");
}

void TestKeyboard::shiftF10OpensTheMenuOfThePeriod()
{
    fillTable();
    QTreeView *pView = view();
    pView->expand(model()->index(0, 0));
    const QModelIndex period = model()->index(0, 0, model()->index(0, 0));
    pView->setCurrentIndex(period);
    QStringList texts;
    QPoint place;
    WhileOpen menu([&](QWidget *pOpen) {
        const QList<QAction *> actions = pOpen->actions();
        for (const QAction *pAction : actions)
            texts << pAction->text();
        place = pOpen->pos();
        QTest::keyClick(pOpen, Qt::Key_F10, Qt::ShiftModifier); // opens no second one
        QTest::keyClick(pOpen, Qt::Key_Down);
        QTest::keyClick(pOpen, Qt::Key_Return);
    });
    press(Qt::Key_F10, Qt::ShiftModifier);
    QVERIFY(menu.hasActed());
    QCOMPARE(texts, QStringList("Remove"));
    QCOMPARE(place, pView->mapToGlobal(pView->visualRect(period).center()));
    QTRY_COMPARE(server()->requestsTo("/removeActivation.php").size(), 1);
}

void TestKeyboard::shiftF10DoesWhatTheMenuKeyDoes()
{
    fillTable();
    QTreeView *pView = view();
    pView->setCurrentIndex(model()->index(1, 0));
    QSignalSpy requests(pView, SIGNAL(customContextMenuRequested(QPoint)));
    const auto closeMenu = [](QWidget *pOpen) {
        pOpen->close();
    };
    WhileOpen first(closeMenu);
    press(Qt::Key_F10, Qt::ShiftModifier);
    QVERIFY(first.hasActed());
    // As the platform sends it when the menu key is pressed.
    WhileOpen second(closeMenu);
    const QPoint place = pView->inputMethodQuery(Qt::ImCursorRectangle).toRect().center();
    QContextMenuEvent event(QContextMenuEvent::Keyboard, place, pView->mapToGlobal(place));
    QCoreApplication::sendEvent(pView, &event);
    QVERIFY(second.hasActed());
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests.at(0), requests.at(1));
    QCOMPARE(pView->indexAt(requests.at(0).at(0).toPoint()), pView->currentIndex());
}

void TestKeyboard::shiftF10InALineEdit()
{
    QStringList classes;
    WhileOpen menu([&](QWidget *pOpen) {
        classes << pOpen->metaObject()->className();
        pOpen->close();
    });
    press(Qt::Key_F10, Qt::ShiftModifier);
    QTRY_VERIFY(menu.hasActed());
    QCOMPARE(classes, QStringList("QMenu"));
}

void TestKeyboard::keysThatStay_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("modifiers");
    QTest::newRow("F10") << int(Qt::Key_F10) << int(Qt::NoModifier);
    QTest::newRow("Control+F10") << int(Qt::Key_F10) << int(Qt::ControlModifier);
    QTest::newRow("Control+Shift+F10")
        << int(Qt::Key_F10) << int(Qt::ControlModifier | Qt::ShiftModifier);
    QTest::newRow("Shift+F9") << int(Qt::Key_F9) << int(Qt::ShiftModifier);
}

void TestKeyboard::keysThatStay()
{
    QFETCH(int, key);
    QFETCH(int, modifiers);
    fillTable();
    view()->setCurrentIndex(model()->index(0, 0));
    QSignalSpy requests(view(), SIGNAL(customContextMenuRequested(QPoint)));
    press(key, Qt::KeyboardModifiers(modifiers));
    QCOMPARE(requests.size(), 0);
}

VELTRANO_TEST_MAIN(TestKeyboard)
#include "tst_keyboard.moc"
