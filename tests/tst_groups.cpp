// The account's groups: filling the combo box, the requests it sets off, refused sessions.

#include "scriptedserver.h"
#include "windowtest.h"

#include "window/mainwindow.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeView>

#include <algorithm>

namespace {
const char *const ThreeGroups = R"({"rcode":0,"groups":[{"id":"12","group_name":"Club A"},)"
                                R"({"id":"40","group_name":"Club B"},)"
                                R"({"id":"7","group_name":"Club C"}]})";
const char *const OneTracker = R"({"rcode":0,"trackers":[{"deviceSn":"1000001"}]})";
} // namespace

class TestGroups : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

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
    template <typename Widget>
    Widget *widget(const char *pName)
    {
        return childOf<Widget>(m_pWindow.data(), pName);
    }
    QComboBox *combo() { return widget<QComboBox>("groupComboBox"); }
    void refresh() { QTest::mouseClick(widget<QAbstractButton>("buttonRefresh"), Qt::LeftButton); }
    void fill(const QByteArray &baReply)
    {
        m_pServer->answer("/bsGetMyGroups.php", baReply);
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
        const auto requests = m_pServer->requestsTo("/bsGetGroupTrackers.php");
        for (const auto &request : requests)
            targets << request.target().mid(int(qstrlen("/bsGetGroupTrackers.php?")));
        return targets;
    }

    QByteArray lastTarget() const
    {
        const QList<QByteArray> targets = trackerTargets();
        return targets.value(targets.size() - 1);
    }

    QScopedPointer<ScriptedServer> m_pServer;
    QScopedPointer<MainWindow> m_pWindow;
};

void TestGroups::init()
{
    clearLog();
    m_pServer.reset(new ScriptedServer);
    setServicePort(m_pServer->serverPort());
    m_pWindow.reset(new MainWindow);
    clearLog();
}

void TestGroups::cleanup()
{
    m_pWindow.reset();
    m_pServer.reset();
    QCOMPARE(warningLog(), QStringList());
}

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
    fill(R"({"groups":[)" + group + "]}");
    QCOMPARE(texts(), QStringList(text));
    QCOMPARE(combo()->itemData(0).toString(), data.toString());
    QCOMPARE(combo()->itemData(0).userType() == QMetaType::QString,
             data.userType() == QMetaType::QString);
    QVERIFY(combo()->itemIcon(0).isNull());
}

void TestGroups::elementsThatAreNoObjects()
{
    fill(R"({"groups":["12",null,{"id":"7","group_name":"C"}]})");
    QCOMPARE(texts(), QStringList({" - ", " - ", "7 - C"}));
}

void TestGroups::groupLog()
{
    m_pServer->answer("/bsGetMyGroups.php", R"({"groups":[{"id":"12"},{"id":40},{}]})");
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
    m_pServer->answer("/bsGetMyGroups.php", ThreeGroups);
    refresh();
    QTRY_COMPARE(combo()->count(), 3);
    QCOMPARE(texts(), QStringList({"12 - Club A", "40 - Club B", "7 - Club C"}));
    QCOMPARE(counts, QList<int>{1});
    QCOMPARE(combo()->currentIndex(), 0);
    QTRY_COMPARE(trackerTargets(), QList<QByteArray>{"idgroup=12"});
    m_pServer->release("/bsGetGroupTrackers.php", QByteArray(OneTracker));
    QTRY_COMPARE(widget<QLabel>("numberTrackers")->text(), QString("(1)"));
    QCOMPARE(m_pServer->requests().size(), 2);
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
    m_pServer->answer("/bsGetGroupTrackers.php", OneTracker);
    combo()->addItem("12 - Club A", "12");
    QTRY_COMPARE(widget<QLabel>("numberTrackers")->text(), QString("(1)"));

    m_pServer->answer("/bsGetMyGroups.php", body);
    refresh();
    QTRY_COMPARE(combo()->count(), 0);
    // The table keeps what it showed: only a group change or a logout clears it.
    QCOMPARE(widget<QTreeView>("treeView")->model()->rowCount(), 1);
    QCOMPARE(widget<QLabel>("numberTrackers")->text(), QString("(1)"));
    QVERIFY(widget<QProgressBar>("progressBar")->isHidden());
    QCOMPARE(trackerTargets().size(), 1);
    QVERIFY(combo()->isEnabled());
}

void TestGroups::refusedSession()
{
    m_pServer->answer("/bslogin.php", R"({"id":1})");
    m_pServer->answer("/bsGetMyGroups.php",
                      R"({"rcode":-99,"groups":[{"id":"12","group_name":"Club A"}]})");
    auto *pLogin = widget<QPushButton>("loginButton");
    widget<QLineEdit>("passwordLineEdit")->setText("secret");
    QTest::mouseClick(pLogin, Qt::LeftButton);
    QTRY_COMPARE(combo()->count(), 1);
    QCOMPARE(texts(), QStringList("12 - Club A"));
    QCOMPARE(pLogin->text(), QString("Login"));
    QCOMPARE(widget<QLineEdit>("passwordLineEdit")->text(), QString());
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
    fill(R"({"rcode":-99,"groups":[{"id":"12"}]})");
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
    fill(R"({"groups":[],"rcode":)" + code + "}");
    QCOMPARE(combo()->isEnabled(), !refused);
    QCOMPARE(widget<QWidget>("treeView")->isEnabled(), !refused);
}

void TestGroups::choosingAGroup()
{
    m_pServer->answer("/bsGetGroupTrackers.php", OneTracker);
    fill(ThreeGroups);
    QTRY_COMPARE(widget<QLabel>("numberTrackers")->text(), QString("(1)"));
    const int iBefore = trackerTargets().size();

    m_pServer->script("/bsGetGroupTrackers.php", [](QSslSocket *) {}); // leaves it open
    combo()->setCurrentIndex(2);
    // Cleared and shown before anything is sent.
    QAbstractItemModel *pModel = widget<QTreeView>("treeView")->model();
    QCOMPARE(pModel->rowCount(), 0);
    QCOMPARE(pModel->columnCount(), 0);
    QCOMPARE(widget<QLabel>("numberTrackers")->text(), QString());
    QVERIFY(!widget<QProgressBar>("progressBar")->isHidden());
    QTRY_COMPARE(trackerTargets().size(), iBefore + 1);
    QCOMPARE(lastTarget(), QByteArray("idgroup=7"));
}

void TestGroups::choosingByKey()
{
    m_pServer->answer("/bsGetGroupTrackers.php", OneTracker);
    fill(ThreeGroups);
    QTest::keyClick(combo(), Qt::Key_Down);
    QTRY_COMPARE(lastTarget(), QByteArray("idgroup=40"));
    QCOMPARE(combo()->currentText(), QString("40 - Club B"));
}

void TestGroups::quickChangesSendOneRequestEach()
{
    m_pServer->answer("/bsGetMyGroups.php", ThreeGroups);
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
    QAbstractItemModel *pModel = widget<QTreeView>("treeView")->model();
    QVERIFY(m_pServer->release("/bsGetGroupTrackers.php",
                               R"({"trackers":[{"deviceSn":"first"},{"deviceSn":"x"}]})"));
    QTRY_COMPARE(pModel->rowCount(), 2);
    QVERIFY(
        m_pServer->release("/bsGetGroupTrackers.php", R"({"trackers":[{"deviceSn":"second"}]})"));
    QTRY_COMPARE(pModel->rowCount(), 1);
    QCOMPARE(pModel->index(0, 0).data().toString(), QString("second"));
}

void TestGroups::clearedBoxSendsNothing()
{
    m_pServer->answer("/bsGetGroupTrackers.php", OneTracker);
    combo()->addItem("12 - Club A", "12");
    QTRY_COMPARE(widget<QLabel>("numberTrackers")->text(), QString("(1)"));
    combo()->clear();
    QCOMPARE(widget<QTreeView>("treeView")->model()->rowCount(), 1);
    QCOMPARE(widget<QLabel>("numberTrackers")->text(), QString("(1)"));
    QVERIFY(widget<QProgressBar>("progressBar")->isHidden());
    m_pServer->answer("/bsGetMyGroups.php", "{}");
    refresh();
    QTRY_COMPARE(m_pServer->requestsTo("/bsGetMyGroups.php").size(), 1);
    QCOMPARE(m_pServer->requests().size(), 2);
}

void TestGroups::refreshEndsWithFirstGroup()
{
    m_pServer->answer("/bsGetGroupTrackers.php", OneTracker);
    fill(ThreeGroups);
    combo()->setCurrentIndex(2);
    QTRY_COMPARE(lastTarget(), QByteArray("idgroup=7"));
    QTRY_COMPARE(widget<QLabel>("numberTrackers")->text(), QString("(1)"));
    const int iBefore = trackerTargets().size();
    refresh();
    QTRY_COMPARE(trackerTargets().size(), iBefore + 1);
    QCOMPARE(lastTarget(), QByteArray("idgroup=12"));
    QCOMPARE(combo()->currentIndex(), 0);
    QCOMPARE(combo()->count(), 3);
    QTRY_COMPARE(widget<QLabel>("numberTrackers")->text(), QString("(1)"));
}

void TestGroups::refreshWhileLoggedOut()
{
    m_pServer->answer("/bsGetGroupTrackers.php", OneTracker);
    m_pServer->answer("/bsGetMyGroups.php", ThreeGroups);
    refresh();
    QTRY_COMPARE(combo()->count(), 3);
    QTRY_COMPARE(widget<QLabel>("numberTrackers")->text(), QString("(1)"));
    QCOMPARE(widget<QPushButton>("loginButton")->text(), QString("Login"));
}

VELTRANO_TEST_MAIN(TestGroups)
#include "tst_groups.moc"
