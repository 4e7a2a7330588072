// The account's groups: filling the combo box, the requests it sets off, refused sessions.

#include "servedtest.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>

#include <algorithm>

namespace {
const char *const ThreeGroups = R"({"rcode":0,"groups":[{"id":"12","group_name":"Club A"},)"
                                R"({"id":"40","group_name":"Club B"},)"
                                R"({"id":"7","group_name":"Club C"}]})";
const char *const OneTracker = R"({"rcode":0,"trackers":[{"deviceSn":"1000001"}]})";
} // namespace

class TestGroups : public ServedTest
{
    Q_OBJECT

private slots:
    void entries_data();
    void entries();
    void elementsThatAreNoObjects();
    void groupLog();
    void firstGroupIsRequestedBeforeSecondIsAppended();
    void withoutGroups_data();
    void withoutGroups();
    void refusedSession();
    void boxIsClearedBeforeTheReplyIsRead();
    void otherCodesAreIgnored_data();
    void otherCodesAreIgnored();
    void choosingAGroup();
    void choosingByKey();
    void quickChangesSendOneRequestEach();
    void lastReplyWins();
    void clearedBoxSendsNothing();
    void refreshEndsWithFirstGroup();
    void refreshWhileLoggedOut();

private:
    void refresh() { QTest::mouseClick(widget<QAbstractButton>("buttonRefresh"), Qt::LeftButton); }
    void refreshTo(const QByteArray &baReply)
    {
        server()->answer("/bsGetMyGroups.php", baReply);
        combo()->addItem("to be cleared", QVariant());
        refresh();
        QTRY_VERIFY(combo()->findText("to be cleared") < 0);
    }
    QStringList texts()
    {
        QStringList list;
        for (int i = 0; i < combo()->count(); ++i)
            list << combo()->itemText(i);
        return list;
    }
    QList<QByteArray> trackerTargets() const
    {
        QList<QByteArray> targets;
        const auto requests = server()->requestsTo(TrackersPath);
        for (const auto &request : requests)
            targets << request.target().mid(int(qstrlen("/bsGetGroupTrackers.php?")));
        return targets;
    }

    QByteArray lastTarget() const
    {
        const QList<QByteArray> targets = trackerTargets();
        return targets.value(targets.size() - 1);
    }
};

void TestGroups::entries_data()
{
    QTest::addColumn<QByteArray>("group");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariant>("data");
    QTest::newRow("both texts") << QByteArray(R"({"id":"12","group_name":"Club A"})")
                                << "12 - Club A" << QVariant("12");
    QTest::newRow("id is a number")
        << QByteArray(R"({"id":12,"group_name":"Club A"})") << " - Club A" << QVariant(12);
    QTest::newRow("id is missing")
        << QByteArray(R"({"group_name":"Club A"})") << " - Club A" << QVariant();
    QTest::newRow("name is missing") << QByteArray(R"({"id":"12"})") << "12 - " << QVariant("12");
    QTest::newRow("name is a number")
        << QByteArray(R"({"id":"12","group_name":5})") << "12 - " << QVariant("12");
    QTest::newRow("empty object") << QByteArray("{}") << " - " << QVariant();
    QTest::newRow("leading zeros and blanks")
        << QByteArray(R"({"id":" 007 ","group_name":" x "})") << " 007  -  x " << QVariant(" 007 ");
    QTest::newRow("markup stays text")
        << QByteArray(R"({"id":"1","group_name":"<b>x</b>"})") << "1 - <b>x</b>" << QVariant("1");
}

void TestGroups::entries()
{
    QFETCH(QByteArray, group);
    QFETCH(QString, text);
    QFETCH(QVariant, data);
    refreshTo(R"({"groups":[)" + group + "]}");
    QCOMPARE(texts(), QStringList(text));
    QCOMPARE(combo()->itemData(0).toString(), data.toString());
    QCOMPARE(combo()->itemData(0).userType() == QMetaType::QString,
             data.userType() == QMetaType::QString);
    QVERIFY(combo()->itemIcon(0).isNull());
}

void TestGroups::elementsThatAreNoObjects()
{
    refreshTo(R"({"groups":["12",null,{"id":"7","group_name":"C"}]})");
    QCOMPARE(texts(), QStringList({" - ", " - ", "7 - C"}));
}

void TestGroups::groupLog()
{
    server()->answer("/bsGetMyGroups.php", R"({"groups":[{"id":"12"},{"id":40},{}]})");
    refresh();
    QTRY_COMPARE(combo()->count(), 3);
    QCOMPARE(infoLog(), QStringList({R"("{\"groups\":[{\"id\":\"12\"},{\"id\":40},{}]}")",
                                     R"(QJsonValue(string, "12"))", "QJsonValue(double, 40)",
                                     "QJsonValue(undefined)"}));
}

void TestGroups::firstGroupIsRequestedBeforeSecondIsAppended()
{
    QList<int> counts;
    connect(combo(), QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            [&] { counts << combo()->count(); });
    server()->answer("/bsGetMyGroups.php", ThreeGroups);
    refresh();
    QTRY_COMPARE(combo()->count(), 3);
    QCOMPARE(texts(), QStringList({"12 - Club A", "40 - Club B", "7 - Club C"}));
    QCOMPARE(counts, QList<int>{1});
    QCOMPARE(combo()->currentIndex(), 0);
    QTRY_COMPARE(trackerTargets(), QList<QByteArray>{"idgroup=12"});
    server()->release(TrackersPath, QByteArray(OneTracker));
    QTRY_COMPARE(shownText("numberTrackers"), QString("(1)"));
    QCOMPARE(server()->requests().size(), 2);
}

void TestGroups::withoutGroups_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty array") << QByteArray(R"({"rcode":0,"groups":[]})");
    QTest::newRow("missing") << QByteArray(R"({"rcode":0})");
    QTest::newRow("an object") << QByteArray(R"({"groups":{"id":"12"}})");
    QTest::newRow("null") << QByteArray(R"({"groups":null})");
    QTest::newRow("empty body") << QByteArray();
    QTest::newRow("not JSON") << QByteArray("<html></html>");
}

void TestGroups::withoutGroups()
{
    QFETCH(QByteArray, body);
    server()->answer(TrackersPath, OneTracker);
    combo()->addItem("12 - Club A", "12");
    QTRY_COMPARE(shownText("numberTrackers"), QString("(1)"));

    server()->answer("/bsGetMyGroups.php", body);
    refresh();
    QTRY_COMPARE(combo()->count(), 0);
    // The table keeps what it showed: only a group change or a logout clears it.
    QCOMPARE(model()->rowCount(), 1);
    QCOMPARE(shownText("numberTrackers"), QString("(1)"));
    QVERIFY(bar()->isHidden());
    QCOMPARE(trackerTargets().size(), 1);
    QVERIFY(combo()->isEnabled());
}

void TestGroups::refusedSession()
{
    server()->answer("/bslogin.php", R"({"id":1})");
    server()->answer("/bsGetMyGroups.php",
                     R"({"rcode":-99,"groups":[{"id":"12","group_name":"Club A"}]})");
    auto *pLogin = widget<QPushButton>("loginButton");
    widget<QLineEdit>("passwordLineEdit")->setText("secret");
    QTest::mouseClick(pLogin, Qt::LeftButton);
    QTRY_COMPARE(combo()->count(), 1);
    QCOMPARE(texts(), QStringList("12 - Club A"));
    QCOMPARE(pLogin->text(), QString("Login"));
    QCOMPARE(shownText("passwordLineEdit"), QString());
    for (const char *pName : {"groupComboBox", "calendarWidget", "treeView"})
        QVERIFY2(!widget<QWidget>(pName)->isEnabled(), pName);
    QTRY_COMPARE(trackerTargets(), QList<QByteArray>{"idgroup=12"});
}

void TestGroups::boxIsClearedBeforeTheReplyIsRead()
{
    QStringList indices;
    connect(combo(), QOverload<int>::of(&QComboBox::currentIndexChanged), this, [&](int iIdx) {
        indices << QString("%1, %2").arg(iIdx).arg(combo()->isEnabled() ? "enabled" : "disabled");
    });
    refreshTo(R"({"rcode":-99,"groups":[{"id":"12"}]})");
    // The groups of the refused session come last.
    QCOMPARE(indices, QStringList({"0, enabled", "-1, enabled", "0, disabled"}));
}

void TestGroups::otherCodesAreIgnored_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<bool>("refused");
    QTest::newRow("-99.0") << QByteArray("-99.0") << true;
    QTest::newRow("-9.9e1") << QByteArray("-9.9e1") << true;
    QTest::newRow("0") << QByteArray("0") << false;
    QTest::newRow("-98") << QByteArray("-98") << false;
    QTest::newRow("99") << QByteArray("99") << false;
    QTest::newRow("fraction") << QByteArray("-99.5") << false;
    QTest::newRow("text") << QByteArray("\"-99\"") << false;
    QTest::newRow("null") << QByteArray("null") << false;
}

void TestGroups::otherCodesAreIgnored()
{
    QFETCH(QByteArray, code);
    QFETCH(bool, refused);
    refreshTo(R"({"groups":[],"rcode":)" + code + "}");
    QCOMPARE(combo()->isEnabled(), !refused);
    QCOMPARE(widget<QWidget>("treeView")->isEnabled(), !refused);
}

void TestGroups::choosingAGroup()
{
    server()->answer(TrackersPath, OneTracker);
    refreshTo(ThreeGroups);
    QTRY_COMPARE(shownText("numberTrackers"), QString("(1)"));
    const int iBefore = trackerTargets().size();

    server()->script(TrackersPath, [](QSslSocket *) {}); // leaves it open
    combo()->setCurrentIndex(2);
    // Cleared and shown before anything is sent.
    QAbstractItemModel *pModel = model();
    QCOMPARE(pModel->rowCount(), 0);
    QCOMPARE(pModel->columnCount(), 0);
    QCOMPARE(shownText("numberTrackers"), QString());
    QVERIFY(!bar()->isHidden());
    QTRY_COMPARE(trackerTargets().size(), iBefore + 1);
    QCOMPARE(lastTarget(), QByteArray("idgroup=7"));
}

void TestGroups::choosingByKey()
{
    server()->answer(TrackersPath, OneTracker);
    refreshTo(ThreeGroups);
    QTest::keyClick(combo(), Qt::Key_Down);
    QTRY_COMPARE(lastTarget(), QByteArray("idgroup=40"));
    QCOMPARE(combo()->currentText(), QString("40 - Club B"));
}

void TestGroups::quickChangesSendOneRequestEach()
{
    server()->answer("/bsGetMyGroups.php", ThreeGroups);
    refresh();
    QTRY_COMPARE(combo()->count(), 3);
    combo()->setCurrentIndex(1);
    combo()->setCurrentIndex(2);
    combo()->setCurrentIndex(0);
    QTRY_COMPARE(trackerTargets().size(), 4);
    QList<QByteArray> sorted = trackerTargets(); // they may overtake each other
    std::sort(sorted.begin(), sorted.end());
    QCOMPARE(sorted, QList<QByteArray>({"idgroup=12", "idgroup=12", "idgroup=40", "idgroup=7"}));
}

void TestGroups::lastReplyWins()
{
    combo()->addItem("12 - Club A", "12");
    QTRY_COMPARE(trackerTargets().size(), 1);
    combo()->addItem("40 - Club B", "40");
    combo()->setCurrentIndex(1);
    QTRY_COMPARE(trackerTargets().size(), 2);
    QAbstractItemModel *pModel = model();
    QVERIFY(
        server()->release(TrackersPath, R"({"trackers":[{"deviceSn":"first"},{"deviceSn":"x"}]})"));
    QTRY_COMPARE(pModel->rowCount(), 2);
    QVERIFY(server()->release(TrackersPath, R"({"trackers":[{"deviceSn":"second"}]})"));
    QTRY_COMPARE(pModel->rowCount(), 1);
    QCOMPARE(pModel->index(0, 0).data().toString(), QString("second"));
}

void TestGroups::clearedBoxSendsNothing()
{
    server()->answer(TrackersPath, OneTracker);
    combo()->addItem("12 - Club A", "12");
    QTRY_COMPARE(shownText("numberTrackers"), QString("(1)"));
    combo()->clear();
    QCOMPARE(model()->rowCount(), 1);
    QCOMPARE(shownText("numberTrackers"), QString("(1)"));
    QVERIFY(bar()->isHidden());
    server()->answer("/bsGetMyGroups.php", "{}");
    refresh();
    QTRY_COMPARE(server()->requestsTo("/bsGetMyGroups.php").size(), 1);
    QCOMPARE(server()->requests().size(), 2);
}

void TestGroups::refreshEndsWithFirstGroup()
{
    server()->answer(TrackersPath, OneTracker);
    refreshTo(ThreeGroups);
    combo()->setCurrentIndex(2);
    QTRY_COMPARE(lastTarget(), QByteArray("idgroup=7"));
    QTRY_COMPARE(shownText("numberTrackers"), QString("(1)"));
    const int iBefore = trackerTargets().size();
    refresh();
    QTRY_COMPARE(trackerTargets().size(), iBefore + 1);
    QCOMPARE(lastTarget(), QByteArray("idgroup=12"));
    QCOMPARE(combo()->currentIndex(), 0);
    QCOMPARE(combo()->count(), 3);
    QTRY_COMPARE(shownText("numberTrackers"), QString("(1)"));
}

void TestGroups::refreshWhileLoggedOut()
{
    server()->answer(TrackersPath, OneTracker);
    server()->answer("/bsGetMyGroups.php", ThreeGroups);
    refresh();
    QTRY_COMPARE(combo()->count(), 3);
    QTRY_COMPARE(shownText("numberTrackers"), QString("(1)"));
    QCOMPARE(shownText("loginButton"), QString("Login"));
}

VELTRANO_TEST_MAIN(TestGroups)
#include "tst_groups.moc"
