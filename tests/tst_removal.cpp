// Removing a pending period: what the context menu offers where, what choosing its entry sends, and
// the traces.

#include "markingtranslator.h"
#include "servedtest.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>

namespace {
constexpr const char *RemovePath = "/removeActivation.php";
/// The second of three has a period of every kind.
const char *const Trackers =
    R"({"deviceSn":"1000001"},)"
    R"({"deviceSn":"1000002","activations":[{"id":"1234","done":"0"},{"id":"0","done":"0"},)"
    R"({"id":"-5","done":"0"},{"id":"77","done":"1"},{"id":"78","done":"2"},)"
    R"({"id":"79","done":"-1"},{"id":"80","done":"words"}]},)"
    R"({"deviceSn":"1000003"})";
constexpr int WithPeriods = 1;

/// What a menu showed.
struct SeenMenu
{
    int count = 0;
    QStringList entries;
    QPoint place;
    bool hasParent = true;
};
} // namespace

class TestRemoval : public ServedTest
{
    Q_OBJECT

private slots:
    void offers_data();
    void offers();
    void emptySpace_data();
    void emptySpace();
    void nothingLoadedYet();
    void besideAPeriod();
    void dataIsReadFromThePeriod_data();
    void dataIsReadFromThePeriod();
    void placeAndParent();
    void entryIsNotTranslated();
    void rightClick();

    void requestBytes();
    void identifiers_data();
    void identifiers();
    void traces();
    void noQuestionNoProgress();
    void dismissedByTheEntryItself();
    void anyReplyReloads_data();
    void anyReplyReloads();

private:
    QPoint placeOf(const QModelIndex &index) const { return view()->visualRect(index).center(); }
    QModelIndex period(int iPeriod) const
    {
        return model()->index(iPeriod, 0, model()->index(WithPeriods, 0));
    }
    void show();
    SeenMenu openMenu(const QPoint &place, const QString &strChoice = QString());
};

/// The table, high enough for all its rows.
void TestRemoval::show()
{
    fill(Trackers);
    window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(window()));
    view()->setMinimumHeight(500);
    view()->expandAll();
    QTRY_VERIFY(view()->height() >= 500);
}

/// Asks for the menu as the view does, and chooses an entry or dismisses the menu.
SeenMenu TestRemoval::openMenu(const QPoint &place, const QString &strChoice)
{
    SeenMenu seen;
    const WhileOpen visit([&](QWidget *pOpen) {
        auto *pMenu = qobject_cast<QMenu *>(pOpen);
        if (!pMenu)
            return;
        ++seen.count;
        seen.place = pMenu->pos();
        seen.hasParent = pMenu->parentWidget() != nullptr;
        QAction *pChosen = nullptr;
        const QList<QAction *> actions = pMenu->actions();
        for (QAction *pAction : actions) {
            seen.entries << pAction->text();
            if (pAction->text() == strChoice)
                pChosen = pAction;
        }
        if (!pChosen) {
            pMenu->close();
            return;
        }
        // As an operator does, but for the pointer: a popup there is no window to the test.
        pMenu->setActiveAction(pChosen);
        QTest::keyClick(pMenu, Qt::Key_Return);
    });
    QMetaObject::invokeMethod(view(), "customContextMenuRequested", Q_ARG(QPoint, place));
    return seen;
}

void TestRemoval::offers_data()
{
    QTest::addColumn<QList<int>>("path"); // row, column and, for a period, its row
    QTest::addColumn<bool>("offered");
    QTest::addColumn<QString>("trace");
    QTest::newRow("pending") << QList<int>{1, 0, 0} << true << "1";
    QTest::newRow("pending, identifier 0") << QList<int>{1, 0, 1} << true << "1";
    QTest::newRow("pending, identifier below 0") << QList<int>{1, 0, 2} << false << "1";
    QTest::newRow("done") << QList<int>{1, 0, 3} << false << "1";
    QTest::newRow("done flag 2") << QList<int>{1, 0, 4} << false << "1";
    QTest::newRow("done flag -1") << QList<int>{1, 0, 5} << false << "1";
    QTest::newRow("done flag that reads as 0") << QList<int>{1, 0, 6} << true << "1";
    QTest::newRow("tracker without periods") << QList<int>{0, 0} << false << "0";
    QTest::newRow("tracker with periods") << QList<int>{1, 0} << false << "1";
    QTest::newRow("tracker's name") << QList<int>{2, 1} << false << "2";
    QTest::newRow("tracker's last column") << QList<int>{2, 4} << false << "2";
}

void TestRemoval::offers()
{
    QFETCH(QList<int>, path);
    QFETCH(bool, offered);
    QFETCH(QString, trace);
    show();
    const QModelIndex tracker = model()->index(path.at(0), path.at(1));
    const QModelIndex clicked = path.size() > 2 ? period(path.at(2)) : tracker;
    const SeenMenu menu = openMenu(placeOf(clicked));
    QCOMPARE(menu.count, 1); // a menu without entries is executed as well
    QCOMPARE(menu.entries, offered ? QStringList("Remove") : QStringList());
    // Dismissed: nothing but the trace.
    QCOMPARE(infoLog(), QStringList(trace));
    QCOMPARE(replies(), 0);
}

void TestRemoval::emptySpace_data()
{
    QTest::addColumn<QPoint>("place");
    QTest::newRow("below the last row") << QPoint(20, 480);
    QTest::newRow("right of the last column") << QPoint(5000, 5);
    QTest::newRow("outside") << QPoint(-10, -10);
}

void TestRemoval::emptySpace()
{
    QFETCH(QPoint, place);
    show();
    QVERIFY(!view()->indexAt(place).isValid());
    const SeenMenu menu = openMenu(place);
    QCOMPARE(menu.count, 1);
    QCOMPARE(menu.entries, QStringList());
    QCOMPARE(infoLog(), QStringList("-1"));
    QCOMPARE(replies(), 0);
}

void TestRemoval::nothingLoadedYet()
{
    const SeenMenu menu = openMenu(QPoint(5, 5));
    QCOMPARE(menu.count, 1);
    QCOMPARE(menu.entries, QStringList());
    QCOMPARE(infoLog(), QStringList("-1"));
    QCOMPARE(replies(), 0);
}

void TestRemoval::besideAPeriod()
{
    show();
    // A period has one cell; what is right of it belongs to nothing.
    const QPoint place(view()->header()->sectionViewportPosition(1) + 5, placeOf(period(0)).y());
    const SeenMenu menu = openMenu(place);
    QCOMPARE(menu.count, 1);
    QCOMPARE(menu.entries, QStringList());
    QCOMPARE(infoLog(), QStringList("-1"));
}

void TestRemoval::dataIsReadFromThePeriod_data()
{
    QTest::addColumn<QVariant>("done");
    QTest::addColumn<QVariant>("id");
    QTest::addColumn<bool>("offered");
    QTest::newRow("texts that read as integers") << QVariant("0") << QVariant("5") << true;
    QTest::newRow("no flag") << QVariant() << QVariant(5) << true;
    QTest::newRow("no identifier") << QVariant(0) << QVariant() << true; // it reads as 0
    QTest::newRow("a flag that is true") << QVariant(true) << QVariant(5) << false;
}

void TestRemoval::dataIsReadFromThePeriod()
{
    QFETCH(QVariant, done);
    QFETCH(QVariant, id);
    QFETCH(bool, offered);
    show();
    model()->setData(period(3), done, Qt::UserRole + 1);
    model()->setData(period(3), id, Qt::UserRole + 2);
    const SeenMenu menu = openMenu(placeOf(period(3)), "Remove");
    QCOMPARE(menu.entries.size(), offered ? 1 : 0);
    QCOMPARE(replies(), offered ? 1 : 0);
    if (offered)
        QCOMPARE(infoLog().value(0), QString("Remove: %1").arg(id.toInt()));
}

void TestRemoval::placeAndParent()
{
    show();
    const QPoint place = placeOf(period(0));
    const SeenMenu menu = openMenu(place);
    QCOMPARE(menu.place, view()->mapToGlobal(place));
    QVERIFY(menu.place != view()->viewport()->mapToGlobal(place));
    QVERIFY(!menu.hasParent);
}

void TestRemoval::entryIsNotTranslated()
{
    show();
    const MarkingTranslator translator;
    QCOMPARE(openMenu(placeOf(period(0))).entries, QStringList("Remove"));
}

void TestRemoval::rightClick()
{
    show();
    const QPoint place = placeOf(period(0));
    QStringList entries;
    const WhileOpen visit([&](QWidget *pMenu) {
        const QList<QAction *> actions = pMenu->actions();
        for (const QAction *pAction : actions)
            entries << pAction->text();
        pMenu->close();
    });
    QContextMenuEvent event(QContextMenuEvent::Mouse, place,
                            view()->viewport()->mapToGlobal(place));
    QApplication::sendEvent(view()->viewport(), &event);
    QCOMPARE(entries, QStringList("Remove"));
    QCOMPARE(infoLog(), QStringList("1"));
}

void TestRemoval::requestBytes()
{
    show();
    openMenu(placeOf(period(0)), "Remove");
    QTRY_COMPARE(server()->requestsTo(RemovePath).size(), 1);
    QCOMPARE(onlyRequest(RemovePath), expectedGet("/removeActivation.php?activationId=1234"));
}

void TestRemoval::identifiers_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<QByteArray>("target");
    const QByteArray baStart = "/removeActivation.php?activationId=";
    QTest::newRow("0") << 0 << baStart + "0";
    QTest::newRow("one digit") << 7 << baStart + "7";
    QTest::newRow("no separator in thousands") << 1234567 << baStart + "1234567";
    QTest::newRow("greatest") << 2147483647 << baStart + "2147483647";
}

void TestRemoval::identifiers()
{
    QFETCH(int, id);
    QFETCH(QByteArray, target);
    QLocale::setDefault(QLocale("ar_EG"));
    show();
    model()->setData(period(0), id, Qt::UserRole + 2);
    openMenu(placeOf(period(0)), "Remove");
    QLocale::setDefault(QLocale::system());
    QTRY_COMPARE(server()->requestsTo(RemovePath).size(), 1);
    QCOMPARE(server()->requestsTo(RemovePath).value(0).target(), target);
}

void TestRemoval::traces()
{
    show();
    openMenu(placeOf(period(0)), "Remove");
    QCOMPARE(infoLog(), QStringList({"Remove: 1234", "1"})); // the tracker's row comes last
    serve(RemovePath, "{}");
    QTRY_COMPARE(infoLog().size(), 4);
    QCOMPARE(infoLog().mid(2), QStringList({"Done", "\"{}\""}));
}

void TestRemoval::noQuestionNoProgress()
{
    show();
    BoxAnswers answers({});
    openMenu(placeOf(period(0)), "Remove");
    QCOMPARE(replies(), 1);
    QVERIFY(bar()->isHidden());
    serve(RemovePath, QByteArray(1000, ' '));
    QTRY_COMPARE(server()->requestsTo(TrackersPath).size(), 2);
    QCOMPARE(answers.seen().size(), 0);
    QCOMPARE(infoLog().filter(" : "), QStringList()); // no report of any progress
}

void TestRemoval::dismissedByTheEntryItself()
{
    show();
    // The entry is there and even current, and still the menu is closed without it.
    const WhileOpen visit([](QWidget *pOpen) {
        auto *pMenu = qobject_cast<QMenu *>(pOpen);
        pMenu->setActiveAction(pMenu->actions().value(0));
        QTest::keyClick(pMenu, Qt::Key_Escape);
    });
    QMetaObject::invokeMethod(view(), "customContextMenuRequested",
                              Q_ARG(QPoint, placeOf(period(0))));
    QVERIFY(visit.hasActed());
    QCOMPARE(replies(), 0);
    QCOMPARE(infoLog(), QStringList("1"));
}

void TestRemoval::anyReplyReloads_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("accepted") << QByteArray("200 OK") << QByteArray("{}");
    QTest::newRow("refused session") << QByteArray("200 OK") << QByteArray(R"({"rcode":-99})");
    QTest::newRow("error page") << QByteArray("500 Oh") << QByteArray("oops");
}

void TestRemoval::anyReplyReloads()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, body);
    show();
    openMenu(placeOf(period(0)), "Remove");
    bar()->show(); // as another request leaves it
    serve(RemovePath, ScriptedServer::reply(body, status));
    serveTrackers(R"({"deviceSn":"1000002"})");
    QCOMPARE(server()->requests().last().target(),
             QByteArray("/bsGetGroupTrackers.php?idgroup=12"));
    QCOMPARE(model()->rowCount(), 1);
    QCOMPARE(replies(), 0);
    QVERIFY(bar()->isHidden());
    QVERIFY(view()->isEnabled());
}

VELTRANO_TEST_MAIN(TestRemoval)
#include "tst_removal.moc"
