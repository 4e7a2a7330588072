// Which trackers are ticked, and ticking them in bulk: what changes, what is announced, what is
// shown right afterwards.

#include "servedtest.h"

#include "window/trackertable.h"

#include <QAbstractButton>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStyle>
#include <QStyledItemDelegate>

#include <functional>

Q_DECLARE_METATYPE(QStandardItem *)

namespace {
constexpr const char *SelectAll = "Select All";
constexpr const char *SelectNone = "Select none";

/// Trackers with the serial numbers 1000000 and up, two periods each; every fourth one's row is
/// disabled.
QByteArray trackers(int iCount)
{
    QByteArray baTrackers;
    for (int i = 0; i < iCount; ++i)
        baTrackers += QByteArray(i ? "," : "") + R"({"deviceSn":")" +
                      QByteArray::number(1000000 + i) + R"(","TrackerName":"Fox","state":)" +
                      (i % 4 == 3 ? "null" : R"("A")") +
                      R"(,"activations":[{"id":"1","done":"0"},{"id":"2","done":"1"}]})";
    return baTrackers;
}

/// Counts how often the view asks for the size of a cell.
class CountingDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        ++m_iMeasured;
        return QStyledItemDelegate::sizeHint(option, index);
    }

    mutable int m_iMeasured = 0;
};

/// A ticked tracker whose serial number cannot be read without something happening to the table.
class ItemThatActs : public QStandardItem
{
public:
    explicit ItemThatActs(std::function<void()> action) : m_action(std::move(action)) {}

    QVariant data(int iRole) const override
    {
        if (iRole == Qt::CheckStateRole)
            return Qt::Checked;
        if (iRole != Qt::DisplayRole)
            return QStandardItem::data(iRole);
        m_action();
        return "acts";
    }

private:
    std::function<void()> m_action;
};

/// The rows of trackers that were announced one by one, in order; -1 for whatever else was.
QList<int> rowsOf(const QSignalSpy &changed)
{
    QList<int> rows;
    for (const QList<QVariant> &change : changed) {
        const auto first = change.at(0).toModelIndex();
        const bool bOneTick = first == change.at(1).toModelIndex() && first.column() == 0 &&
                              !first.parent().isValid();
        rows << (bOneTick ? first.row() : -1);
    }
    return rows;
}
} // namespace

class TestSelection : public ServedTest
{
    Q_OBJECT

private slots:
    void tickedValues_data();
    void tickedValues();
    void disabledRowsCount();
    void onlyFirstColumnOfTrackers();
    void walkGoesInRowOrder();
    void walkReadsRowCountAnew();

    void bulkValues_data();
    void bulkValues();
    void emptyModel_data();
    void emptyModel();
    void argumentIsIgnored_data();
    void argumentIsIgnored();
    void everyChangeIsAnnounced();
    void nothingElseHappens_data();
    void nothingElseHappens();
    void rowsVanishDuringBulk_data();
    void rowsVanishDuringBulk();
    void rowsAppearDuringBulk_data();
    void rowsAppearDuringBulk();
    void periodsStayWithoutTick();

    void shownTicks_data();
    void shownTicks();
    void placeIsKept_data();
    void placeIsKept();
    void nextClick_data();
    void nextClick();
    void nextScan();
    void openEditorIsKept();
    void nothingIsMeasuredPerRow();

private:
    QAbstractButton *button(const QString &strText) const;
    void click(const QString &strText) const { button(strText)->click(); }
    QList<int> states() const;
    void setStates(const QList<int> &states) const;
    void show();
    QImage picture() const { return view()->viewport()->grab().toImage(); }
    QImage pictureOfFreshLayout() const;
    QPoint checkBoxOf(int iRow) const;
};

QAbstractButton *TestSelection::button(const QString &strText) const
{
    const QList<QAbstractButton *> buttons = widget<QDialogButtonBox>("selectionBox")->buttons();
    for (QAbstractButton *pButton : buttons) {
        if (pButton->text() == strText)
            return pButton;
    }
    qFatal("no button %s", qPrintable(strText));
}

/// The check states of all trackers; -1 for one that has none.
QList<int> TestSelection::states() const
{
    QList<int> found;
    for (int iRow = 0; iRow < model()->rowCount(); ++iRow) {
        const QVariant state = model()->index(iRow, 0).data(Qt::CheckStateRole);
        found << (state.isValid() ? state.toInt() : -1);
    }
    return found;
}

void TestSelection::setStates(const QList<int> &states) const
{
    for (int iRow = 0; iRow < states.size(); ++iRow)
        model()->setData(model()->index(iRow, 0), states.at(iRow), Qt::CheckStateRole);
}

void TestSelection::show()
{
    window()->resize(1000, 700);
    window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(window()));
}

QImage TestSelection::pictureOfFreshLayout() const
{
    view()->doItemsLayout();
    QCoreApplication::processEvents();
    return picture();
}

/// The middle of a shown tracker's check box, in the viewport.
QPoint TestSelection::checkBoxOf(int iRow) const
{
    const QRect row = view()->visualRect(model()->index(iRow, 0));
    const QStyle *pStyle = view()->style();
    return {row.left() + pStyle->pixelMetric(QStyle::PM_FocusFrameHMargin) +
                pStyle->pixelMetric(QStyle::PM_IndicatorWidth) / 2 + 1,
            row.center().y()};
}

void TestSelection::tickedValues_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("ticked");
    QTest::newRow("checked") << QVariant(2) << 1;
    QTest::newRow("the framework's own name for it") << QVariant::fromValue(Qt::Checked) << 1;
    QTest::newRow("a text that reads as 2") << QVariant("2") << 1;
    QTest::newRow("partially checked") << QVariant(1) << 0;
    QTest::newRow("unchecked") << QVariant(0) << 0;
    QTest::newRow("beyond checked") << QVariant(3) << 0;
    QTest::newRow("negative") << QVariant(-2) << 0;
    QTest::newRow("true") << QVariant(true) << 0;
    QTest::newRow("a word") << QVariant("checked") << 0;
    QTest::newRow("no integer") << QVariant(QSize(2, 2)) << 0;
    QTest::newRow("nothing") << QVariant() << 0;
}

void TestSelection::tickedValues()
{
    QFETCH(QVariant, value);
    QFETCH(int, ticked);
    fill(trackers(3));
    const QModelIndex middle = model()->index(1, SerialNumberColumn);
    model()->setData(middle, value, Qt::CheckStateRole);
    QCOMPARE(tickedSerialNumbers(model()).size(), ticked);
    QCOMPARE(isTicked(middle), ticked == 1);
}

void TestSelection::disabledRowsCount()
{
    fill(trackers(4));
    QVERIFY(!model()->item(3)->isEnabled());
    tick({3});
    QCOMPARE(tickedSerialNumbers(model()).size(), 1);
}

void TestSelection::onlyFirstColumnOfTrackers()
{
    fill(trackers(3));
    for (int iColumn = TrackerNameColumn; iColumn <= ImsiColumn; ++iColumn)
        model()->item(0, iColumn)->setCheckState(Qt::Checked);
    for (int iPeriod : {0, 1})
        model()->item(1)->child(iPeriod)->setCheckState(Qt::Checked);
    QCOMPARE(tickedSerialNumbers(model()).size(), 0);
    tick({1});
    QCOMPARE(tickedSerialNumbers(model()).size(), 1);
}

void TestSelection::walkGoesInRowOrder()
{
    fill(R"({"deviceSn":"7"},{"deviceSn":"5"},{"deviceSn":""},{"deviceSn":"6"})");
    tick({3, 0, 2}); // ticked in another order
    QCOMPARE(tickedSerialNumbers(model()), QStringList({"7", "", "6"}));

    // The serial number is what is displayed.
    model()->item(0)->setText("8");
    QCOMPARE(tickedSerialNumbers(model()), QStringList({"8", "", "6"}));
}

void TestSelection::walkReadsRowCountAnew()
{
    fill(trackers(5));
    tick({1, 2, 3, 4});
    model()->setItem(0, new ItemThatActs([this] { model()->removeRow(model()->rowCount() - 1); }));
    QCOMPARE(tickedSerialNumbers(model()), QStringList({"acts", "1000001", "1000002", "1000003"}));

    model()->setItem(0, new ItemThatActs([this] {
                         auto *pLast = new QStandardItem("appended");
                         pLast->setData(int(Qt::Checked), Qt::CheckStateRole);
                         model()->appendRow(pLast);
                     }));
    QCOMPARE(tickedSerialNumbers(model()),
             QStringList({"acts", "1000001", "1000002", "1000003", "appended"}));
}

void TestSelection::bulkValues_data()
{
    QTest::addColumn<QList<int>>("before");
    QTest::addColumn<QList<int>>("afterAll");
    QTest::addColumn<QList<int>>("afterNone");
    // The fourth row is disabled: ticked and unticked like any other.
    QTest::newRow("none ticked") << QList<int>{0, 0, 0, 0} << QList<int>{2, 2, 2, 2}
                                 << QList<int>{0, 0, 0, 0};
    QTest::newRow("one ticked") << QList<int>{0, 2, 0, 0} << QList<int>{2, 2, 2, 2}
                                << QList<int>{0, 0, 0, 0};
    QTest::newRow("all ticked") << QList<int>{2, 2, 2, 2} << QList<int>{2, 2, 2, 2}
                                << QList<int>{0, 0, 0, 0};
    QTest::newRow("half-ticked stay under none")
        << QList<int>{1, 2, 1, 1} << QList<int>{2, 2, 2, 2} << QList<int>{1, 0, 1, 1};
    QTest::newRow("strange values")
        << QList<int>{3, -1, 2, 7} << QList<int>{2, 2, 2, 2} << QList<int>{3, -1, 0, 7};
}

void TestSelection::bulkValues()
{
    QFETCH(QList<int>, before);
    fill(trackers(4));
    setStates(before);
    click(SelectAll);
    QTEST(states(), "afterAll");
    // An int, as the rest of the program writes it.
    QCOMPARE(model()->index(0, 0).data(Qt::CheckStateRole), QVariant(2));
    QCOMPARE(tickedSerialNumbers(model()).size(), 4);
    setStates(before);
    click(SelectNone);
    QTEST(states(), "afterNone");
    QCOMPARE(tickedSerialNumbers(model()).size(), 0);
}

void TestSelection::emptyModel_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("replied");
    QTest::newRow("all, nothing loaded yet") << SelectAll << false;
    QTest::newRow("none, nothing loaded yet") << SelectNone << false;
    QTest::newRow("all, empty group") << SelectAll << true;
    QTest::newRow("none, empty group") << SelectNone << true;
}

void TestSelection::emptyModel()
{
    QFETCH(QString, text);
    QFETCH(bool, replied);
    if (replied)
        fill("");
    QSignalSpy changed(model(), SIGNAL(dataChanged(QModelIndex,QModelIndex,QVector<int>)));
    QSignalSpy inserted(model(), SIGNAL(rowsInserted(QModelIndex,int,int)));
    click(text);
    QCoreApplication::processEvents();
    QCOMPARE(changed.size() + inserted.size(), 0);
    QCOMPARE(model()->rowCount(), 0);
    QCOMPARE(infoLog(), QStringList());
    QCOMPARE(replies(), 0);
}

void TestSelection::argumentIsIgnored_data()
{
    QTest::addColumn<bool>("argument");
    QTest::newRow("true") << true;
    QTest::newRow("false") << false;
}

void TestSelection::argumentIsIgnored()
{
    QFETCH(bool, argument);
    fill(trackers(2));
    QVERIFY(QMetaObject::invokeMethod(window(), "onSelectAll", Q_ARG(bool, argument)));
    QCOMPARE(states(), QList<int>({2, 2}));
    QVERIFY(QMetaObject::invokeMethod(window(), "onSelectNone", Q_ARG(bool, argument)));
    QCOMPARE(states(), QList<int>({0, 0}));
}

void TestSelection::everyChangeIsAnnounced()
{
    fill(trackers(6));
    show();
    setStates({0, 2, 0, 0, 1, 2});
    qRegisterMetaType<QStandardItem *>();
    QSignalSpy items(model(), SIGNAL(itemChanged(QStandardItem*)));
    QSignalSpy changed(model(), SIGNAL(dataChanged(QModelIndex,QModelIndex,QVector<int>)));
    click(SelectAll);
    QCOMPARE(rowsOf(changed), QList<int>({0, 2, 3, 4})); // those that changed, each on its own
    QCOMPARE(items.size(), 4);
    click(SelectAll);
    QCOMPARE(items.size(), 4);

    model()->setData(model()->index(2, 0), 1, Qt::CheckStateRole);
    changed.clear();
    items.clear();
    click(SelectNone);
    QCOMPARE(rowsOf(changed), QList<int>({0, 1, 3, 4, 5}));
    QCOMPARE(items.size(), 5);
    click(SelectNone);
    QCOMPARE(items.size(), 5);
}

void TestSelection::nothingElseHappens_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("all") << SelectAll;
    QTest::newRow("none") << SelectNone;
}

void TestSelection::nothingElseHappens()
{
    QFETCH(QString, text);
    fill(trackers(3));
    tick({1});
    click(text);
    QCoreApplication::processEvents();
    QCOMPARE(widget<QLabel>("numberTrackers")->text(), QString("(3)"));
    QCOMPARE(replies(), 0);
    QCOMPARE(server()->requests().size(), 1);
    QCOMPARE(infoLog(), QStringList());
    QVERIFY(bar()->isHidden());
    QVERIFY(button(text)->isEnabled());
}

void TestSelection::rowsVanishDuringBulk_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("all");
    QTest::newRow("some, all") << SelectAll << false;
    QTest::newRow("some, none") << SelectNone << false;
    QTest::newRow("every one, all") << SelectAll << true;
    QTest::newRow("every one, none") << SelectNone << true;
}

void TestSelection::rowsVanishDuringBulk()
{
    QFETCH(QString, text);
    QFETCH(bool, all);
    fill(trackers(5));
    show();
    const int iBefore = text == SelectAll ? 0 : 2;
    setStates({iBefore, iBefore, iBefore, iBefore, iBefore});
    const auto remove = [&] {
        if (all)
            model()->clear();
        else
            model()->removeRow(model()->rowCount() - 1);
    };
    // Queued connections would come too late to matter.
    connect(model(), &QStandardItemModel::itemChanged, this, remove, Qt::DirectConnection);
    click(text);
    QCoreApplication::processEvents();
    const int iAfter = 2 - iBefore;
    QCOMPARE(states(), all ? QList<int>() : QList<int>({iAfter, iAfter}));
}

void TestSelection::rowsAppearDuringBulk_data()
{
    nothingElseHappens_data();
}

void TestSelection::rowsAppearDuringBulk()
{
    QFETCH(QString, text);
    fill(trackers(2));
    const int iBefore = text == SelectAll ? 0 : 2;
    setStates({iBefore, iBefore});
    const auto append = [&] {
        if (model()->rowCount() == 4)
            return;
        auto *pItem = new QStandardItem("new");
        pItem->setData(iBefore, Qt::CheckStateRole);
        model()->appendRow(pItem);
    };
    connect(model(), &QStandardItemModel::itemChanged, this, append);
    click(text);
    const int iAfter = 2 - iBefore;
    QCOMPARE(states(), QList<int>({iAfter, iAfter, iAfter, iAfter}));
}

void TestSelection::periodsStayWithoutTick()
{
    fill(trackers(2));
    show();
    view()->expandAll();
    for (const char *pText : {SelectAll, SelectNone}) {
        click(pText);
        for (int iRow : {0, 1}) {
            for (int iPeriod : {0, 1}) {
                const QStandardItem *pPeriod = model()->item(iRow)->child(iPeriod);
                QVERIFY(!pPeriod->data(Qt::CheckStateRole).isValid());
                QVERIFY(!pPeriod->isCheckable());
            }
            for (int iColumn = TrackerNameColumn; iColumn <= ImsiColumn; ++iColumn)
                QVERIFY(!model()->item(iRow, iColumn)->data(Qt::CheckStateRole).isValid());
        }
    }
}

void TestSelection::shownTicks_data()
{
    QTest::addColumn<int>("trackers");
    QTest::addColumn<int>("scrolledTo");
    QTest::newRow("few") << 5 << 0;
    QTest::newRow("many, at the top") << 300 << 0;
    QTest::newRow("many, in the middle") << 300 << 400;
    QTest::newRow("many, at the bottom") << 300 << 100000;
}

void TestSelection::shownTicks()
{
    QFETCH(int, trackers);
    QFETCH(int, scrolledTo);
    fill(::trackers(trackers));
    show();
    view()->expandAll();
    view()->verticalScrollBar()->setValue(scrolledTo);
    const QImage unticked = pictureOfFreshLayout();
    for (int iRow = 0; iRow < trackers; ++iRow)
        tick({iRow});
    const QImage ticked = pictureOfFreshLayout();
    QVERIFY(ticked != unticked);

    click(SelectNone);
    QCOMPARE(picture(), unticked); // at once, before any event
    QCOMPARE(pictureOfFreshLayout(), unticked);
    click(SelectAll);
    QCOMPARE(picture(), ticked);
    QCOMPARE(pictureOfFreshLayout(), ticked);
    click(SelectNone);
    QCoreApplication::processEvents();
    QCOMPARE(picture(), unticked);
}

void TestSelection::placeIsKept_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("all") << SelectAll;
    QTest::newRow("none") << SelectNone;
}

void TestSelection::placeIsKept()
{
    QFETCH(QString, text);
    constexpr int Count = 200;
    fill(trackers(Count));
    show();
    tick({0, 50, 101});
    for (int iRow = 1; iRow < Count; iRow += 3)
        view()->expand(model()->index(iRow, 0));
    const QModelIndex current = model()->index(100, TrackerNameColumn);
    view()->setCurrentIndex(current);
    view()->verticalScrollBar()->setValue(120);
    view()->setColumnWidth(SerialNumberColumn, 900);
    QCoreApplication::processEvents();
    view()->horizontalScrollBar()->setValue(40);
    const QImage header = view()->header()->grab().toImage();
    const QModelIndex top = view()->indexAt(QPoint(1, 1));
    const int iTop = view()->visualRect(top).top();
    QVERIFY(top.isValid() && view()->horizontalScrollBar()->value() == 40);

    click(text);
    for (int i = 0; i < 2; ++i) { // at once, and after the view has caught up
        QCOMPARE(view()->verticalScrollBar()->value(), 120);
        QCOMPARE(view()->horizontalScrollBar()->value(), 40);
        QCOMPARE(view()->indexAt(QPoint(1, 1)), top);
        QCOMPARE(view()->visualRect(top).top(), iTop);
        QCOMPARE(view()->currentIndex(), current);
        QCOMPARE(view()->selectionModel()->selectedIndexes().size(), 5);
        for (int iRow = 0; iRow < Count; ++iRow)
            QCOMPARE(view()->isExpanded(model()->index(iRow, 0)), iRow % 3 == 1);
        QCOMPARE(view()->header()->grab().toImage(), header);
        QCoreApplication::processEvents();
    }
}

void TestSelection::nextClick_data()
{
    QTest::addColumn<bool>("caughtUp");
    QTest::newRow("at once") << false;
    QTest::newRow("after the view has caught up") << true;
}

void TestSelection::nextClick()
{
    QFETCH(bool, caughtUp);
    fill(trackers(100));
    show();
    view()->expandAll();
    view()->verticalScrollBar()->setValue(30); // the periods of a tracker take two places
    click(SelectAll);
    if (caughtUp)
        QCoreApplication::processEvents();
    QTest::mouseClick(view()->viewport(), Qt::LeftButton, Qt::NoModifier, checkBoxOf(12));
    QCOMPARE(tickedSerialNumbers(model()).size(), 99);
    QCOMPARE(states().at(12), 0);
    // And the click's own change is shown.
    QCOMPARE(picture(), pictureOfFreshLayout());

    click(SelectNone);
    if (caughtUp)
        QCoreApplication::processEvents();
    QTest::mouseClick(view()->viewport(), Qt::LeftButton, Qt::NoModifier, checkBoxOf(10));
    QCOMPARE(tickedSerialNumbers(model()).size(), 1);
    QCOMPARE(states().at(10), 2);
    QCOMPARE(picture(), pictureOfFreshLayout());
}

void TestSelection::nextScan()
{
    constexpr int Scanned = 150;
    fill(trackers(200));
    show();
    tick({0, 1, 2});
    click(SelectNone);
    // As a scan does it, in the same turn of the event loop.
    view()->setCurrentIndex(model()->index(Scanned, 0));
    model()->setData(model()->index(Scanned, 0), int(Qt::Checked), Qt::CheckStateRole);
    QCOMPARE(view()->currentIndex(), model()->index(Scanned, 0));
    const QRect shown = view()->visualRect(model()->index(Scanned, 0));
    QVERIFY(view()->viewport()->rect().contains(shown.center().x(), shown.center().y()));
    const QImage atOnce = picture();
    QCOMPARE(atOnce, pictureOfFreshLayout());
    QCOMPARE(tickedSerialNumbers(model()).size(), 1);
    QVERIFY(isTicked(model()->index(Scanned, 0)));
}

void TestSelection::openEditorIsKept()
{
    fill(trackers(5));
    show();
    const QModelIndex name = model()->index(2, TrackerNameColumn);
    view()->edit(name);
    auto *pEditor = view()->viewport()->findChild<QLineEdit *>();
    QVERIFY(pEditor);
    QTest::keyClicks(pEditor, "Ow");
    const QRect place = pEditor->geometry();
    click(SelectAll);
    QCoreApplication::processEvents();
    QCOMPARE(view()->viewport()->findChild<QLineEdit *>(), pEditor);
    QCOMPARE(pEditor->geometry(), place);
    QTest::keyClicks(pEditor, "l");
    QTest::keyClick(pEditor, Qt::Key_Return);
    QTRY_COMPARE(name.data().toString(), QString("Owl"));
    QCOMPARE(tickedSerialNumbers(model()).size(), 5);
}

void TestSelection::nothingIsMeasuredPerRow()
{
    constexpr int Count = 2000;
    fill(trackers(Count));
    show();
    CountingDelegate delegate;
    view()->setItemDelegate(&delegate);
    QCoreApplication::processEvents();
    for (const char *pText : {SelectAll, SelectNone}) {
        delegate.m_iMeasured = 0;
        click(pText);
        QCOMPARE(delegate.m_iMeasured, 0);
        picture();
        QCoreApplication::processEvents();
        // The rows on the screen, a few times over, but never the table.
        QVERIFY2(delegate.m_iMeasured < Count, qPrintable(QString::number(delegate.m_iMeasured)));
    }
    view()->setItemDelegate(nullptr);
}

VELTRANO_TEST_MAIN(TestSelection)
#include "tst_selection.moc"
