// The tracker table, from the service's reply to what the operator sees.

#include "servedtest.h"

#include "window/trackerrules.h"
#include "window/trackertable.h"

#include <QAbstractItemModelTester>
#include <QBrush>
#include <QHeaderView>
#include <QIcon>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPushButton>

#include <functional>

Q_DECLARE_METATYPE(Light)

namespace {
QStringList headers()
{
    return {"Serial Number", "Tracker Name", "CompeId", "Firmware", "Imsi"};
}

QImage picture(const QIcon &icon)
{
    return icon.pixmap(16, 16).toImage();
}

/// The colour of the light that the item shows.
QString lightOf(const QStandardItem *pItem)
{
    const QImage image = picture(pItem->icon());
    for (const char *pName : {"green", "yellow", "red"}) {
        if (image == picture(QIcon(QString(":/%1light.png").arg(pName))))
            return pName;
    }
    return "no light";
}

/// What a message handler, which is no object, can reach.
struct TraceHook
{
    std::function<void(const QString &strTrace)> action;
    QtMessageHandler pPrevious = nullptr;
};

TraceHook &traceHook()
{
    static TraceHook hook;
    return hook;
}

void handleTrace(QtMsgType type, const QMessageLogContext &context, const QString &strMessage)
{
    const TraceHook &hook = traceHook();
    if (type == QtInfoMsg)
        hook.action(strMessage);
    if (hook.pPrevious)
        hook.pPrevious(type, context, strMessage);
}

QByteArray listOf(const QByteArray &baTrackers)
{
    return R"({"rcode":0,"balance":"1","trackers":[)" + baTrackers + "]}";
}
} // namespace

class TestTrackers : public ServedTest
{
    Q_OBJECT

private slots:
    void light_data();
    void light();
    void firmware_data();
    void firmware();
    void otherGroups_data();
    void otherGroups();

    void wholeRow();
    void defaultCells();
    void members_data();
    void members();
    void flagsOfState_data();
    void flagsOfState();
    void profileColour_data();
    void profileColour();
    void shownLight_data();
    void shownLight();
    void lightsAreLoadedOnce();
    void toolTips_data();
    void toolTips();
    void activationRows();
    void activationNumbers_data();
    void activationNumbers();

    void header();
    void emptyLists_data();
    void emptyLists();
    void balance_data();
    void balance();
    void balanceIsPlainText();
    void numberOfTrackers();
    void orderOfReplyIsKept();
    void clickOnHeaderSorts();
    void rebuildUndoesTheSorting_data();
    void rebuildUndoesTheSorting();
    void rebuildForgetsEverything();
    void editsStayLocal();
    void log();
    void stepsOfARebuild();
    void stepsOfARow();
    void rowAtEachTrace_data();
    void rowAtEachTrace();
    void refusedSession();
    void refusedSessionWithSeveralGroups();
    void otherCodes_data();
    void otherCodes();

private:
    void setUp() override;
    void tearDown() override;
    /// Lets the window ask for a group's trackers and answers; returns when the table is rebuilt.
    void deliver(const QByteArray &baReply);
    void deliverTracker(const QByteArray &baTracker) { deliver(listOf(baTracker)); }
    QVariant cell(int iColumn, int iRole = Qt::DisplayRole, int iRow = 0)
    {
        return model()->index(iRow, iColumn).data(iRole);
    }

    /// Each row's serial number and, in brackets, the ids of its periods.
    QStringList rowsWithPeriods();

    QScopedPointer<QAbstractItemModelTester> m_pTester;
};

void TestTrackers::setUp()
{
    ServedTest::setUp();
    m_pTester.reset(new QAbstractItemModelTester(
        model(), QAbstractItemModelTester::FailureReportingMode::QtTest));
}

void TestTrackers::tearDown()
{
    m_pTester.reset();
    ServedTest::tearDown();
}

void TestTrackers::deliver(const QByteArray &baReply)
{
    server()->answer(TrackersPath, baReply);
    combo()->clear();
    combo()->addItem("12 - Club A", "12");
    QTRY_VERIFY(bar()->isHidden());
}

QStringList TestTrackers::rowsWithPeriods()
{
    QStringList rows;
    for (int iRow = 0; iRow < model()->rowCount(); ++iRow) {
        const QStandardItem *pTracker = model()->item(iRow);
        QStringList ids;
        for (int iPeriod = 0; iPeriod < pTracker->rowCount(); ++iPeriod)
            ids << pTracker->child(iPeriod)->data(ActivationIdRole).toString();
        rows << pTracker->text() + " [" + ids.join(' ') + "]";
    }
    return rows;
}

void TestTrackers::light_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<bool>("pending");
    QTest::addColumn<Light>("light");
    QTest::newRow("active") << "A" << false << Light::Green;
    QTest::newRow("active stays green with a pending period") << "A" << true << Light::Green;
    QTest::newRow("lower case is not active") << "a" << false << Light::Red;
    QTest::newRow("longer is not active") << "AA" << true << Light::Yellow;
    QTest::newRow("blank behind is not active") << "A " << false << Light::Red;
    QTest::newRow("empty, pending") << "" << true << Light::Yellow;
    QTest::newRow("empty") << "" << false << Light::Red;
    QTest::newRow("other") << "B" << false << Light::Red;
    QTest::newRow("other, pending") << "B" << true << Light::Yellow;
}

void TestTrackers::light()
{
    QFETCH(QString, state);
    QFETCH(bool, pending);
    QFETCH(Light, light);
    QVERIFY(trackerLight(state, pending) == light);
}

void TestTrackers::firmware_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("text");
    QTest::newRow("three digits") << "305"
                                  << "3.05";
    QTest::newRow("two digits") << "42"
                                << "4.2";
    QTest::newRow("one digit") << "3"
                               << "3.";
    QTest::newRow("empty is filled up with a blank") << ""
                                                     << " .";
    QTest::newRow("already with a point") << "3.05"
                                          << "3..05";
    QTest::newRow("no digits") << "beta"
                               << "b.eta";
}

void TestTrackers::firmware()
{
    QFETCH(QString, version);
    QFETCH(QString, text);
    QCOMPARE(firmwareText(version), text);
}

void TestTrackers::otherGroups_data()
{
    QTest::addColumn<QByteArray>("groups");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << QByteArray("[]") << "";
    QTest::newRow("one") << QByteArray(R"([{"id":"12"}])") << "other groups:12";
    QTest::newRow("two") << QByteArray(R"([{"id":"7"},{"id":"9"}])") << "other groups:7,9";
    QTest::newRow("missing in the middle")
        << QByteArray(R"([{"id":"7"},{},{"id":"9"}])") << "other groups:7,,9";
    QTest::newRow("missing at first") << QByteArray(R"([{},{"id":"9"}])") << "other groups:,9";
    QTest::newRow("only one, missing") << QByteArray("[{}]") << "other groups:";
    QTest::newRow("a number reads as empty") << QByteArray(R"([{"id":7}])") << "other groups:";
    QTest::newRow("no objects") << QByteArray(R"(["7","9"])") << "other groups:,";
    QTest::newRow("array's order")
        << QByteArray(R"([{"id":"9"},{"id":"7"}])") << "other groups:9,7";
}

void TestTrackers::otherGroups()
{
    QFETCH(QByteArray, groups);
    QFETCH(QString, text);
    QCOMPARE(otherGroupsText(QJsonDocument::fromJson(groups).array()), text);
}

void TestTrackers::wholeRow()
{
    deliverTracker(R"({"deviceSn":"1000001","TrackerName":"Fox","compe_id":"F7","state":"A",)"
                   R"("v":"305","imsi":"234500000000001","p":"N","groups":[{"id":"40"}],)"
                   R"("activations":[{"id":"9","startTime":"a","endTime":"b","done":"1"}]})");
    QCOMPARE(model()->rowCount(), 1);
    QCOMPARE(model()->columnCount(), 5);
    QCOMPARE(cell(SerialNumberColumn).toString(), QString("1000001"));
    QCOMPARE(cell(TrackerNameColumn).toString(), QString("Fox"));
    QCOMPARE(cell(CompeIdColumn).toString(), QString("F7"));
    QCOMPARE(cell(FirmwareColumn).toString(), QString("3.05"));
    QCOMPARE(cell(ImsiColumn).toString(), QString("234500000000001"));

    QCOMPARE(cell(0, Qt::CheckStateRole), QVariant(int(Qt::Unchecked)));
    QCOMPARE(cell(0, Qt::ToolTipRole), QVariant("other groups:40"));
    QVERIFY(!cell(0, Qt::ForegroundRole).isValid());
    QCOMPARE(model()->item(0)->flags(), Qt::ItemIsUserCheckable | Qt::ItemIsEnabled |
                                            Qt::ItemIsSelectable | Qt::ItemIsDragEnabled |
                                            Qt::ItemIsDropEnabled);
}

void TestTrackers::defaultCells()
{
    deliverTracker(R"({"deviceSn":"1","state":null})");
    for (int iColumn = TrackerNameColumn; iColumn <= ImsiColumn; ++iColumn) {
        const QStandardItem *pItem = model()->item(0, iColumn);
        QCOMPARE(pItem->flags(), QStandardItem().flags());
        QVERIFY(pItem->isEditable() && pItem->isEnabled());
        for (int iRole : {int(Qt::CheckStateRole), int(Qt::DecorationRole), int(Qt::ToolTipRole),
                          int(Qt::ForegroundRole)})
            QVERIFY2(!pItem->data(iRole).isValid(), qPrintable(QString::number(iRole)));
        QVERIFY(!pItem->hasChildren());
    }
}

void TestTrackers::members_data()
{
    QTest::addColumn<QByteArray>("tracker");
    QTest::addColumn<QStringList>("cells");
    QTest::newRow("all missing") << QByteArray("{}") << QStringList({"", "", "", " .", ""});
    QTest::newRow("all numbers")
        << QByteArray(R"({"deviceSn":1,"TrackerName":2,"compe_id":3,"v":305,"imsi":5})")
        << QStringList({"", "", "", " .", ""});
    QTest::newRow("all null")
        << QByteArray(R"({"deviceSn":null,"TrackerName":null,"compe_id":null,"v":null})")
        << QStringList({"", "", "", " .", ""});
    QTest::newRow("other types")
        << QByteArray(R"({"deviceSn":true,"TrackerName":["x"],"compe_id":{"a":"b"},"v":false})")
        << QStringList({"", "", "", " .", ""});
    QTest::newRow("no object") << QByteArray("\"1000001\"") << QStringList({"", "", "", " .", ""});
    QTest::newRow("odd texts are kept")
        << QByteArray(R"({"deviceSn":" 0012 ","TrackerName":"<b>\n","compe_id":"é","v":"3"})")
        << QStringList({" 0012 ", "<b>\n", QString::fromUtf8("é"), "3.", ""});
    QTest::newRow("names differ in case")
        << QByteArray(R"({"devicesn":"1","trackername":"x","Compe_Id":"y","V":"305","IMSI":"z"})")
        << QStringList({"", "", "", " .", ""});
}

void TestTrackers::members()
{
    QFETCH(QByteArray, tracker);
    QFETCH(QStringList, cells);
    deliverTracker(tracker);
    QCOMPARE(model()->rowCount(), 1);
    QStringList shown;
    for (int iColumn = SerialNumberColumn; iColumn <= ImsiColumn; ++iColumn)
        shown << cell(iColumn).toString();
    QCOMPARE(shown, cells);
}

void TestTrackers::flagsOfState_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("null") << QByteArray(R"("state":null)") << false;
    QTest::newRow("missing") << QByteArray(R"("x":1)") << true;
    QTest::newRow("empty") << QByteArray(R"("state":"")") << true;
    QTest::newRow("the text null") << QByteArray(R"("state":"null")") << true;
    QTest::newRow("zero") << QByteArray(R"("state":0)") << true;
    QTest::newRow("false") << QByteArray(R"("state":false)") << true;
    QTest::newRow("active") << QByteArray(R"("state":"A")") << true;
}

void TestTrackers::flagsOfState()
{
    QFETCH(QByteArray, state);
    QFETCH(bool, enabled);
    deliverTracker(R"({"deviceSn":"1",)" + state + "}");
    const QStandardItem *pItem = model()->item(0);
    QCOMPARE(pItem->isEnabled(), enabled);
    QVERIFY(pItem->isCheckable());
    QVERIFY(!pItem->isEditable());
    QVERIFY(pItem->isSelectable());
    QCOMPARE(pItem->checkState(), Qt::Unchecked);
}

void TestTrackers::profileColour_data()
{
    QTest::addColumn<QByteArray>("profile");
    QTest::addColumn<bool>("orange");
    QTest::newRow("extended") << QByteArray(R"("E")") << true;
    QTest::newRow("lower case") << QByteArray(R"("e")") << false;
    QTest::newRow("normal") << QByteArray(R"("N")") << false;
    QTest::newRow("longer") << QByteArray(R"("EE")") << false;
    QTest::newRow("empty") << QByteArray(R"("")") << false;
    QTest::newRow("null") << QByteArray("null") << false;
}

void TestTrackers::profileColour()
{
    QFETCH(QByteArray, profile);
    QFETCH(bool, orange);
    deliverTracker(R"({"deviceSn":"1","p":)" + profile + "}");
    const QVariant brush = cell(0, Qt::ForegroundRole);
    QCOMPARE(brush.isValid(), orange);
    if (orange) {
        QCOMPARE(brush.value<QBrush>().color(), QColor(221, 85, 0, 255));
        QCOMPARE(brush.value<QBrush>().style(), Qt::SolidPattern);
    }
}

void TestTrackers::shownLight_data()
{
    QTest::addColumn<QByteArray>("tracker");
    QTest::addColumn<QString>("icon");
    const QByteArray baPending = R"("activations":[{"done":"1"},{"done":"0"},{"done":"1"}])";
    const QByteArray baDone = R"("activations":[{"done":"1"},{"done":"2"},{"done":"-1"}])";
    QTest::newRow("active, pending") << R"("state":"A",)" + baPending << ":/greenlight.png";
    QTest::newRow("active") << R"("state":"A",)" + baDone << ":/greenlight.png";
    QTest::newRow("empty, pending") << R"("state":"",)" + baPending << ":/yellowlight.png";
    QTest::newRow("other, pending") << R"("state":"B",)" + baPending << ":/yellowlight.png";
    QTest::newRow("null, pending") << R"("state":null,)" + baPending << ":/yellowlight.png";
    QTest::newRow("missing, pending") << baPending << ":/yellowlight.png";
    QTest::newRow("only done periods") << R"("state":"",)" + baDone << ":/redlight.png";
    QTest::newRow("null") << QByteArray(R"("state":null)") << ":/redlight.png";
    QTest::newRow("number instead of a text counts as pending")
        << QByteArray(R"("state":"","activations":[{"done":1}])") << ":/yellowlight.png";
    QTest::newRow("period without a flag counts as pending")
        << QByteArray(R"("state":"","activations":[{}])") << ":/yellowlight.png";
}

void TestTrackers::shownLight()
{
    QFETCH(QByteArray, tracker);
    QFETCH(QString, icon);
    deliverTracker("{" + tracker + "}");
    QCOMPARE(picture(cell(0, Qt::DecorationRole).value<QIcon>()), picture(QIcon(icon)));
}

void TestTrackers::lightsAreLoadedOnce()
{
    deliver(listOf(R"({"state":"A"},{"state":"A"},{"state":"B"},{"state":"B"})"));
    const auto key = [this](int iRow) {
        return cell(0, Qt::DecorationRole, iRow).value<QIcon>().cacheKey();
    };
    const qint64 iGreen = key(0);
    const qint64 iRed = key(2);
    QCOMPARE(key(1), iGreen);
    QCOMPARE(key(3), iRed);
    QVERIFY(iGreen != iRed);
    // And not again for the next table or window.
    deliver(listOf(R"({"state":"B"},{"state":"A"})"));
    QCOMPARE(key(0), iRed);
    QCOMPARE(key(1), iGreen);
    tearDown();
    setUp();
    deliver(listOf(R"({"state":"A"})"));
    QCOMPARE(key(0), iGreen);
}

void TestTrackers::toolTips_data()
{
    QTest::addColumn<QByteArray>("groups");
    QTest::addColumn<QString>("tip");
    QTest::newRow("two") << QByteArray(R"([{"id":"12"},{"id":"40"}])") << "other groups:12,40";
    QTest::newRow("none") << QByteArray("[]") << "";
    QTest::newRow("null") << QByteArray("null") << "";
    QTest::newRow("an object") << QByteArray(R"({"id":"12"})") << "";
}

void TestTrackers::toolTips()
{
    QFETCH(QByteArray, groups);
    QFETCH(QString, tip);
    deliverTracker(R"({"groups":)" + groups + "}");
    QVERIFY(cell(0, Qt::ToolTipRole).isValid()); // always set, even when it is empty
    QCOMPARE(cell(0, Qt::ToolTipRole).toString(), tip);
}

void TestTrackers::activationRows()
{
    deliverTracker(R"({"deviceSn":"1","activations":[)"
                   R"({"id":"31","startTime":"2024-03-01","endTime":"2024-03-08","done":"1"},)"
                   R"({"id":"30","startTime":"<b>","endTime":"","done":"0"}]})");
    const QStandardItem *pTracker = model()->item(0);
    QCOMPARE(pTracker->rowCount(), 2);
    QCOMPARE(pTracker->columnCount(), 1);
    QCOMPARE(pTracker->child(0)->text(), QString("2024-03-01 -> 2024-03-08"));
    QCOMPARE(pTracker->child(1)->text(), QString("<b> -> "));
    QCOMPARE(pTracker->child(0)->data(Qt::UserRole + 1), QVariant(1));
    QCOMPARE(pTracker->child(0)->data(Qt::UserRole + 2), QVariant(31));
    QCOMPARE(pTracker->child(1)->data(Qt::UserRole + 1), QVariant(0));
    QCOMPARE(pTracker->child(1)->data(Qt::UserRole + 2), QVariant(30));
    for (int iRow : {0, 1}) {
        const QStandardItem *pPeriod = pTracker->child(iRow);
        QCOMPARE(pPeriod->flags(), QStandardItem().flags() & ~Qt::ItemIsEditable);
        QVERIFY(!pPeriod->data(Qt::CheckStateRole).isValid());
        QVERIFY(!pPeriod->data(Qt::DecorationRole).isValid());
    }
    QVERIFY(!pTracker->data(Qt::UserRole + 1).isValid());
    QVERIFY(!view()->isExpanded(pTracker->index()));
}

void TestTrackers::activationNumbers_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("number");
    QTest::newRow("decimal text") << QByteArray(R"("1234")") << 1234;
    QTest::newRow("negative") << QByteArray(R"("-5")") << -5;
    QTest::newRow("blanks around") << QByteArray(R"(" 7 ")") << 7;
    QTest::newRow("leading zeros are not octal") << QByteArray(R"("010")") << 10;
    QTest::newRow("a number, not a text") << QByteArray("1234") << 0;
    QTest::newRow("hexadecimal") << QByteArray(R"("0x10")") << 0;
    QTest::newRow("fraction") << QByteArray(R"("1.0")") << 0;
    QTest::newRow("beyond 32 bits") << QByteArray(R"("4294967297")") << 0;
    QTest::newRow("words") << QByteArray(R"("yes")") << 0;
    QTest::newRow("empty") << QByteArray(R"("")") << 0;
    QTest::newRow("null") << QByteArray("null") << 0;
    QTest::newRow("true") << QByteArray("true") << 0;
}

void TestTrackers::activationNumbers()
{
    QFETCH(QByteArray, value);
    QFETCH(int, number);
    deliverTracker(R"({"activations":[{"id":)" + value + R"(,"done":)" + value + "}]}");
    const QStandardItem *pPeriod = model()->item(0)->child(0);
    QCOMPARE(pPeriod->data(ActivationIdRole), QVariant(number));
    QCOMPARE(pPeriod->data(ActivationDoneRole), QVariant(number));
}

void TestTrackers::header()
{
    QVERIFY(view()->isHeaderHidden());
    deliver(listOf("{}"));
    QVERIFY(!view()->isHeaderHidden());
    QCOMPARE(view()->columnWidth(SerialNumberColumn), 300);
    for (int iColumn = TrackerNameColumn; iColumn <= ImsiColumn; ++iColumn)
        QCOMPARE(view()->columnWidth(iColumn), view()->header()->defaultSectionSize());
    for (int iColumn = SerialNumberColumn; iColumn <= ImsiColumn; ++iColumn)
        QCOMPARE(model()->headerData(iColumn, Qt::Horizontal).toString(), headers().at(iColumn));

    view()->setColumnWidth(SerialNumberColumn, 50);
    deliver(listOf("{}"));
    QCOMPARE(view()->columnWidth(SerialNumberColumn), 300);
    combo()->clear();
    QVERIFY(!view()->isHeaderHidden());
}

void TestTrackers::emptyLists_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("empty array") << QByteArray(R"({"trackers":[]})");
    QTest::newRow("missing") << QByteArray("{}");
    QTest::newRow("an object") << QByteArray(R"({"trackers":{"deviceSn":"1"}})");
    QTest::newRow("null") << QByteArray(R"({"trackers":null})");
    QTest::newRow("empty body") << QByteArray();
    QTest::newRow("not JSON") << QByteArray("<html>");
    QTest::newRow("an array") << QByteArray(R"([{"trackers":[{}]}])");
}

void TestTrackers::emptyLists()
{
    QFETCH(QByteArray, reply);
    deliver(listOf("{},{}"));
    QCOMPARE(shownText("accountBalance"), QString("1"));
    deliver(reply);
    QCOMPARE(model()->rowCount(), 0);
    QCOMPARE(model()->columnCount(), 5);
    for (int iColumn = SerialNumberColumn; iColumn <= ImsiColumn; ++iColumn)
        QCOMPARE(model()->headerData(iColumn, Qt::Horizontal).toString(), headers().at(iColumn));
    QVERIFY(!view()->isHeaderHidden());
    QCOMPARE(view()->columnWidth(SerialNumberColumn), 300);
    QCOMPARE(shownText("numberTrackers"), QString("(0)"));
    QCOMPARE(shownText("accountBalance"), QString());
    QVERIFY(view()->isEnabled()); // no logout
}

void TestTrackers::balance_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("amount") << QByteArray(R"("412.50 EUR")") << "412.50 EUR";
    QTest::newRow("as it stands") << QByteArray(R"(" -0,5 € ")") << QString::fromUtf8(" -0,5 € ");
    QTest::newRow("a number") << QByteArray("412.5") << "";
    QTest::newRow("null") << QByteArray("null") << "";
}

void TestTrackers::balance()
{
    QFETCH(QByteArray, value);
    QFETCH(QString, text);
    deliver(R"({"balance":)" + value + "}");
    QCOMPARE(shownText("accountBalance"), text);
}

void TestTrackers::balanceIsPlainText()
{
    const QString strMarkup = "<img src='file:///dev/zero'>";
    deliver(R"({"balance":"<img src='file:///dev/zero'>"})");
    auto *pBalance = widget<QLabel>("accountBalance");
    QCOMPARE(pBalance->text(), strMarkup);
    QCOMPARE(pBalance->textFormat(), Qt::PlainText);
    // As wide as its letters: markup would take the width of a picture.
    QVERIFY(pBalance->sizeHint().width() >= pBalance->fontMetrics().horizontalAdvance(strMarkup));
}

void TestTrackers::numberOfTrackers()
{
    QByteArray baTrackers;
    for (int i = 0; i < 12; ++i)
        baTrackers += baTrackers.isEmpty() ? "{}" : ",{}";
    deliver(listOf(baTrackers));
    QCOMPARE(shownText("numberTrackers"), QString("(12)"));
    model()->item(0)->setCheckState(Qt::Checked);
    QCOMPARE(shownText("numberTrackers"), QString("(12)")); // of the group, not of the ticked
}

void TestTrackers::orderOfReplyIsKept()
{
    const QByteArray baReply = listOf(R"({"deviceSn":"3"},{"deviceSn":"1"},{"deviceSn":"2"})");
    for (int i = 0; i < 3; ++i) {
        deliver(baReply);
        QCOMPARE(cell(0, Qt::DisplayRole, 0).toString(), QString("3"));
        QCOMPARE(cell(0, Qt::DisplayRole, 1).toString(), QString("1"));
        QCOMPARE(cell(0, Qt::DisplayRole, 2).toString(), QString("2"));
    }
}

void TestTrackers::clickOnHeaderSorts()
{
    window()->show();
    deliver(listOf(R"({"deviceSn":"3"},{"deviceSn":"1"},{"deviceSn":"2"})"));
    QTest::mouseClick(view()->header()->viewport(), Qt::LeftButton, Qt::NoModifier, QPoint(20, 5));
    QStringList sorted{cell(0, 0, 0).toString(), cell(0, 0, 1).toString(),
                       cell(0, 0, 2).toString()};
    if (sorted.first() == "3")
        std::reverse(sorted.begin(), sorted.end());
    QCOMPARE(sorted, QStringList({"1", "2", "3"}));
}

void TestTrackers::rebuildUndoesTheSorting_data()
{
    QTest::addColumn<bool>("otherGroup");
    QTest::addColumn<QByteArray>("code");
    QTest::newRow("reload") << false << QByteArray("0");
    QTest::newRow("another group") << true << QByteArray("0");
    QTest::newRow("reload, session refused") << false << QByteArray("-99");
    QTest::newRow("another group, session refused") << true << QByteArray("-99");
}

void TestTrackers::rebuildUndoesTheSorting()
{
    QFETCH(bool, otherGroup);
    QFETCH(QByteArray, code);
    const QByteArray baTrackers = R"({"deviceSn":"3"},{"deviceSn":"1","activations":[)"
                                  R"({"id":"8","startTime":"b"},{"id":"9","startTime":"c"},)"
                                  R"({"id":"7","startTime":"a"}]},{"deviceSn":"2"})";
    const QStringList asSent{"3 []", "1 [8 9 7]", "2 []"};
    window()->show();
    server()->answer(TrackersPath, listOf(baTrackers));
    combo()->addItem("12 - Club A", "12");
    combo()->addItem("40 - Club B", "40");
    QTRY_COMPARE(rowsWithPeriods(), asSent);
    // Ascending at the second click, if not at the first.
    for (int i = 0; i < 2 && rowsWithPeriods().constFirst() != "1 [7 8 9]"; ++i)
        QTest::mouseClick(view()->header()->viewport(), Qt::LeftButton, Qt::NoModifier, {20, 5});
    QCOMPARE(rowsWithPeriods(), QStringList({"1 [7 8 9]", "2 []", "3 []"}));

    server()->answer(TrackersPath, R"({"rcode":)" + code + R"(,"trackers":[)" + baTrackers + "]}");
    if (otherGroup)
        combo()->setCurrentIndex(1);
    else
        QVERIFY(QMetaObject::invokeMethod(window(), "onGroupChanged", Q_ARG(int, 0)));
    QTRY_COMPARE(rowsWithPeriods(), asSent);
    QCOMPARE(shownText("numberTrackers"), QString("(3)"));
}

void TestTrackers::rebuildForgetsEverything()
{
    const QByteArray baReply = listOf(R"({"deviceSn":"1","activations":[{"id":"5"}]},{})");
    deliver(baReply);
    model()->item(0)->setCheckState(Qt::Checked);
    model()->item(0, TrackerNameColumn)->setText("edited");
    view()->expand(model()->index(0, 0));
    view()->setCurrentIndex(model()->index(1, 0));
    deliver(baReply);
    QCOMPARE(model()->rowCount(), 2);
    QCOMPARE(model()->item(0)->checkState(), Qt::Unchecked);
    QCOMPARE(model()->item(0, TrackerNameColumn)->text(), QString());
    QVERIFY(!view()->isExpanded(model()->index(0, 0)));
    QVERIFY(!view()->selectionModel()->hasSelection());
}

void TestTrackers::editsStayLocal()
{
    window()->show();
    deliver(listOf(R"({"deviceSn":"1","TrackerName":"Fox"})"));
    const int iBefore = server()->requests().size();
    const QModelIndex name = model()->index(0, TrackerNameColumn);
    view()->edit(name);
    auto *pEditor = view()->viewport()->findChild<QLineEdit *>();
    QVERIFY(pEditor);
    QTest::keyClicks(pEditor, "Owl");
    QTest::keyClick(pEditor, Qt::Key_Return);
    QTRY_COMPARE(name.data().toString(), QString("Owl"));

    server()->answer("/bsGetMyGroups.php", "{}");
    QTest::mouseClick(widget<QAbstractButton>("buttonRefresh"), Qt::LeftButton);
    QTRY_COMPARE(server()->requestsTo("/bsGetMyGroups.php").size(), 1);
    QCOMPARE(server()->requests().size(), iBefore + 1);
}

void TestTrackers::log()
{
    const QByteArray baReply = R"({"balance":"5","rcode":3,"trackers":[)"
                               R"({"activations":[{"id":"9","done":"1"},{"id":"8","done":"0"}]},)"
                               R"({"activations":[{"id":7,"done":2}]}]})";
    deliver(baReply);
    QString strQuoted;
    QDebug(&strQuoted) << baReply;
    const QString strProgress = QString("%1 : %1").arg(baReply.size());
    QCOMPARE(logOfWholeReplies(), QStringList({strProgress, strQuoted.trimmed(), "\"5\"", "3",
                                               "1 : 9", "0 : 8", "0 : 0"}));
}

void TestTrackers::stepsOfARebuild()
{
    deliver(listOf("{}"));
    // What the model announces, in the order of the steps.
    QStringList steps;
    const auto note = [&](const QString &strStep) {
        if (steps.isEmpty() || steps.last() != strStep)
            steps << strStep;
    };
    connect(model(), &QStandardItemModel::modelReset, this,
            [&] { note(bar()->isVisibleTo(window()) ? "cleared early" : "cleared"); });
    connect(model(), &QStandardItemModel::columnsInserted, this, [&](const QModelIndex &parent) {
        if (!parent.isValid())
            note(QString("%1 columns").arg(model()->columnCount()));
    });
    connect(model(), &QStandardItemModel::rowsInserted, this, [&](const QModelIndex &parent) {
        note(parent.isValid() ? "period" : QString("%1 rows").arg(model()->rowCount()));
    });
    connect(model(), &QStandardItemModel::headerDataChanged, this, [&] { note("headers"); });
    deliver(R"({"trackers":[{"activations":[{}]},{"activations":[{}]}]})");
    QCOMPARE(steps,
             QStringList({"cleared", "4 columns", "2 rows", "5 columns", "headers", "period"}));
}

void TestTrackers::stepsOfARow()
{
    QStringList steps;
    connect(model(), &QStandardItemModel::dataChanged, this,
            [&](const QModelIndex &index, const QModelIndex &, const QVector<int> &roles) {
                const QStandardItem *pItem = model()->itemFromIndex(index);
                if (roles.contains(Qt::ToolTipRole))
                    steps << pItem->toolTip();
                else if (roles.contains(Qt::DecorationRole))
                    steps << lightOf(pItem);
                else
                    steps << QString("%1 at column %2, %3")
                                 .arg(pItem->text(), QString::number(index.column()),
                                      lightOf(pItem));
            });
    connect(model(), &QStandardItemModel::rowsInserted, this,
            [&](const QModelIndex &parent, int iFirst) {
                if (parent.isValid())
                    steps << model()->itemFromIndex(parent)->child(iFirst)->text();
            });
    deliver(listOf(R"({"deviceSn":"1","TrackerName":"Fox","compe_id":"F7","v":"305","imsi":"2",)"
                   R"("groups":[{"id":"7"}],"activations":[{"startTime":"a","done":"1"},)"
                   R"({"startTime":"b","done":"0"},{"startTime":"c","done":"2"},)"
                   R"({"startTime":"d","done":"0"}]})"));
    // The second yellow is the icon that is there, which changes nothing.
    QCOMPARE(steps, QStringList({"1 at column 0, red", "Fox at column 1, no light",
                                 "F7 at column 2, no light", "3.05 at column 3, no light",
                                 "2 at column 4, no light", "other groups:7", "a -> ", "b -> ",
                                 "yellow", "c -> ", "d -> "}));
}

void TestTrackers::rowAtEachTrace_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::addColumn<QStringList>("rows");
    QTest::newRow("red, and yellow behind the first pending period")
        << QByteArray(R"("B")")
        << QStringList({"red, 0 periods", "red, 1 periods", "yellow, 2 periods"});
    QTest::newRow("green for good")
        << QByteArray(R"("A")")
        << QStringList({"green, 0 periods", "green, 1 periods", "green, 2 periods"});
}

void TestTrackers::rowAtEachTrace()
{
    QFETCH(QByteArray, state);
    QFETCH(QStringList, rows);
    QStringList seen;
    traceHook().action = [&](const QString &strTrace) {
        if (!strTrace.endsWith(" : 0")) // a period's, and nothing else's
            return;
        const QStandardItem *pItem = model()->item(0);
        QCOMPARE(pItem->toolTip(), QString("other groups:7"));
        QCOMPARE(cell(ImsiColumn).toString(), QString("2"));
        seen << QString("%1, %2 periods").arg(lightOf(pItem)).arg(pItem->rowCount());
    };
    traceHook().pPrevious = qInstallMessageHandler(handleTrace);
    deliver(listOf(R"({"imsi":"2","groups":[{"id":"7"}],"state":)" + state +
                   R"(,"activations":[{"done":"1"},{"done":"0"},{"done":"2"}]})"));
    qInstallMessageHandler(traceHook().pPrevious);
    QCOMPARE(seen, rows);
}

void TestTrackers::refusedSession()
{
    server()->answer("/bslogin.php", R"({"id":1})");
    server()->answer("/bsGetMyGroups.php", R"({"groups":[{"id":"12","group_name":"A"}]})");
    server()->answer(
        TrackersPath,
        R"({"rcode":-99,"balance":"3","trackers":[{"deviceSn":"1"},{"deviceSn":"2"}]})");
    QTest::mouseClick(widget<QPushButton>("loginButton"), Qt::LeftButton);
    QTRY_COMPARE(shownText("numberTrackers"), QString("(2)"));

    QCOMPARE(shownText("loginButton"), QString("Login"));
    QCOMPARE(combo()->count(), 0);
    QVERIFY(!view()->isEnabled());
    QVERIFY(!view()->isHeaderHidden());
    QCOMPARE(model()->rowCount(), 2);
    QCOMPARE(model()->columnCount(), 5);
    QCOMPARE(cell(0, Qt::DisplayRole, 1).toString(), QString("2"));
    QCOMPARE(shownText("accountBalance"), QString("3"));
    QCOMPARE(server()->requests().size(), 3);
}

void TestTrackers::refusedSessionWithSeveralGroups()
{
    server()->answer("/bslogin.php", R"({"id":1})");
    server()->answer("/bsGetMyGroups.php", R"({"groups":[{"id":"12","group_name":"A"},)"
                                           R"({"id":"40","group_name":"B"},)"
                                           R"({"id":"41","group_name":"C"}]})");
    server()->answer(TrackersPath, listOf(R"({"deviceSn":"1"})"));
    widget<QLineEdit>("passwordLineEdit")->setText("secret");
    QTest::mouseClick(widget<QPushButton>("loginButton"), Qt::LeftButton);
    QTRY_COMPARE(shownText("numberTrackers"), QString("(1)"));

    server()->answer(TrackersPath,
                     R"({"rcode":-99,"balance":"3","trackers":[{"deviceSn":"5"},{}]})");
    combo()->setCurrentIndex(2);
    QTRY_COMPARE(shownText("numberTrackers"), QString("(2)"));
    // Logged out, with the list that came along. That no group is left asks for no further list.
    QCOMPARE(combo()->count(), 0);
    for (const char *pName : {"groupComboBox", "calendarWidget", "treeView"})
        QVERIFY2(!widget<QWidget>(pName)->isEnabled(), pName);
    for (const char *pName : {"userLineEdit", "passwordLineEdit", "loginButton"})
        QVERIFY2(widget<QWidget>(pName)->isEnabled(), pName);
    QCOMPARE(shownText("passwordLineEdit"), QString());
    QCOMPARE(shownText("loginButton"), QString("Login"));
    QCOMPARE(cell(0).toString(), QString("5"));
    QCOMPARE(shownText("accountBalance"), QString("3"));

    // A click logs in again: it is the next request.
    QTest::mouseClick(widget<QPushButton>("loginButton"), Qt::LeftButton);
    QTRY_VERIFY(server()->requests().size() > 4);
    QCOMPARE(server()->requests().at(4).path(), QByteArray("/bslogin.php"));
}

void TestTrackers::otherCodes_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<bool>("refused");
    QTest::newRow("whole number with a fraction") << QByteArray("-99.0") << true;
    QTest::newRow("0") << QByteArray("0") << false;
    QTest::newRow("-100") << QByteArray("-100") << false;
    QTest::newRow("fraction") << QByteArray("-99.5") << false;
    QTest::newRow("text") << QByteArray("\"-99\"") << false;
}

void TestTrackers::otherCodes()
{
    QFETCH(QByteArray, code);
    QFETCH(bool, refused);
    deliver(R"({"trackers":[],"rcode":)" + code + "}");
    QCOMPARE(view()->isEnabled(), !refused);
}

VELTRANO_TEST_MAIN(TestTrackers)
#include "tst_trackers.moc"
