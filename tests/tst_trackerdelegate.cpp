// The cells of the table: tool tips that stay plain text, and rows as high as the framework makes
// them, which are not measured one by one.

#include "servedtest.h"

#include <QHeaderView>
#include <QHelpEvent>
#include <QIcon>
#include <QImage>
#include <QKeyEvent>
#include <QProxyStyle>
#include <QStyledItemDelegate>
#include <QTextDocument>
#include <QToolTip>

#include <functional>

using Change = std::function<void(QStandardItemModel *)>;
using ViewChange = std::function<void(QTreeView *)>;
Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(ViewChange)

namespace {
constexpr int Rows = 40;
constexpr int ChangedRow = 20; // out of sight
constexpr int Columns = 5;
constexpr int LightSize = 32; // pixels, higher than a line of text

/// What an open tool tip reads as.
QString tipAsRead()
{
    QTextDocument document;
    if (!Qt::mightBeRichText(QToolTip::text()))
        return QToolTip::text();
    document.setHtml(QToolTip::text());
    return document.toPlainText();
}

/// The files that a tool tip's text would load.
bool tipNamesFiles()
{
    return Qt::mightBeRichText(QToolTip::text()) && QToolTip::text().contains("<img");
}

/// Counts the cells that are measured, and draws tick boxes of any height.
class CountingStyle : public QProxyStyle
{
    Q_OBJECT

public:
    QSize sizeFromContents(ContentsType type, const QStyleOption *pOption, const QSize &size,
                           const QWidget *pWidget) const override
    {
        if (type == CT_ItemViewItem)
            ++m_iMeasured;
        return QProxyStyle::sizeFromContents(type, pOption, size, pWidget);
    }
    int pixelMetric(PixelMetric metric, const QStyleOption *pOption,
                    const QWidget *pWidget) const override
    {
        return metric == PM_IndicatorHeight ? m_iTickBox
                                            : QProxyStyle::pixelMetric(metric, pOption, pWidget);
    }

    mutable int m_iMeasured = 0;
    int m_iTickBox = 25; // pixels, higher than a line of text
};

/// A light of so many pixels.
QIcon light(int iSize)
{
    QPixmap pixmap(iSize, iSize);
    pixmap.fill(Qt::red);
    return QIcon(pixmap);
}

QList<int> heights(const QTreeView *pView)
{
    QList<int> result;
    for (int iRow = 0; iRow < pView->model()->rowCount(); ++iRow)
        result << pView->visualRect(pView->model()->index(iRow, 0)).height();
    return result;
}

/// Three kinds of cells in the first column, as in a group's table.
void fillTable(QStandardItemModel *pModel)
{
    pModel->clear();
    pModel->setColumnCount(Columns);
    const QIcon lights[] = {light(LightSize), light(LightSize), light(LightSize)};
    for (int iRow = 0; iRow < Rows; ++iRow) {
        for (int iColumn = 0; iColumn < Columns; ++iColumn)
            pModel->setItem(iRow, iColumn, new QStandardItem(QString::number(iRow * iColumn)));
        pModel->item(iRow)->setCheckable(true);
        pModel->item(iRow)->setIcon(lights[iRow % 3]);
        pModel->item(iRow)->appendRow(new QStandardItem("a -> b"));
    }
}
} // namespace

class TestTrackerDelegate : public ServedTest
{
    Q_OBJECT

private slots:
    void toolTips_data();
    void toolTips();
    void toolTipOfNothing();

    void measuredOnceForAKind();
    void digitsOfTheLocale();
    void rowsThatDiffer_data();
    void rowsThatDiffer();
    void noTexts();
    void longTexts();
    void whatTheViewSets_data();
    void whatTheViewSets();
    void widthsAreMeasured();
    void keysStayTheViews();

private:
    void setUp() override;
    void tearDown() override;
    bool showTip(const QString &strTip);
    void compareHeights();
    void setLetters(int iSize);

    QScopedPointer<CountingStyle> m_pStyle; // of both views
    QScopedPointer<QTreeView> m_pReference; // with the framework's own delegate
};

void TestTrackerDelegate::setUp()
{
    ServedTest::setUp();
    m_pStyle.reset(new CountingStyle);
    m_pReference.reset(new QTreeView);
    m_pReference->setModel(model());
    for (QTreeView *pView : {view(), m_pReference.data()}) {
        pView->setStyle(m_pStyle.data());
        pView->setIconSize(QSize(LightSize, LightSize));
        pView->resize(400, 100);
    }
    window()->show();
    m_pReference->show();
    fillTable(model());
}

void TestTrackerDelegate::tearDown()
{
    m_pReference.reset();
    ServedTest::tearDown();
    m_pStyle.reset();
}

void TestTrackerDelegate::toolTips_data()
{
    QTest::addColumn<QString>("tip");
    QTest::newRow("plain") << "other groups:12,40";
    QTest::newRow("markup") << "<b>other</b> groups";
    QTest::newRow("escaped bracket") << "&lt;b&gt;";
    QTest::newRow("ampersand before markup") << "a & b <i>c</i>";
    QTest::newRow("names a file") << "<img src='file:///dev/zero'>";
    QTest::newRow("a whole page") << "<html><body>x</body></html>";
    QTest::newRow("XML") << "<?xml version='1.0'?>x";
    QTest::newRow("quotation marks") << "<a href=\"x\">'y'</a>";
    QTest::newRow("blanks and line breaks beside markup") << "<b>a   b</b>\n\nc";
}

bool TestTrackerDelegate::showTip(const QString &strTip)
{
    auto *pItem = new QStandardItem("1000001");
    pItem->setToolTip(strTip);
    model()->appendRow(pItem);
    window()->show();
    const QPoint point = view()->visualRect(pItem->index()).center();
    QHelpEvent event(QEvent::ToolTip, point, view()->viewport()->mapToGlobal(point));
    QCoreApplication::sendEvent(view()->viewport(), &event);
    return event.isAccepted();
}

void TestTrackerDelegate::toolTips()
{
    QFETCH(QString, tip);
    QToolTip::hideText();
    QVERIFY(showTip(tip)); // or whatever is behind the table would be asked for a tip, too
    QCOMPARE(tipAsRead(), tip);
    QVERIFY(QToolTip::isVisible());
    QVERIFY(!tipNamesFiles());
}

void TestTrackerDelegate::toolTipOfNothing()
{
    showTip("other groups:12");
    QCOMPARE(QToolTip::text(), QString("other groups:12"));
    model()->clear();
    showTip(QString());
    QTRY_VERIFY(!QToolTip::isVisible());
}

void TestTrackerDelegate::compareHeights()
{
    view()->doItemsLayout();
    m_pReference->doItemsLayout();
    QCOMPARE(heights(view()), heights(m_pReference.data()));
}

void TestTrackerDelegate::measuredOnceForAKind()
{
    constexpr int Kinds = 5; // three lights, the other columns, nothing else
    view()->doItemsLayout();
    m_pStyle->m_iMeasured = 0;
    compareHeights();
    // What the framework measures for the other view, and no more for ours.
    QCOMPARE(m_pStyle->m_iMeasured, Rows * Columns);
    view()->setStyle(QApplication::style());
    view()->setStyle(m_pStyle.data());
    m_pStyle->m_iMeasured = 0;
    QCOMPARE(heights(view()).size(), Rows);
    QVERIFY2(m_pStyle->m_iMeasured <= Kinds, QByteArray::number(m_pStyle->m_iMeasured));
}

void TestTrackerDelegate::digitsOfTheLocale()
{
    view()->setLocale(QLocale(QLocale::Arabic, QLocale::Egypt)); // has digits of its own
    for (int iRow = 0; iRow < Rows; ++iRow)
        model()->item(iRow, 1)->setData(iRow, Qt::DisplayRole);
    m_pStyle->m_iMeasured = 0;
    QCOMPARE(heights(view()).size(), Rows);
    QVERIFY2(m_pStyle->m_iMeasured >= Rows, QByteArray::number(m_pStyle->m_iMeasured));
}

void TestTrackerDelegate::rowsThatDiffer_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<bool>("differs");
    const auto row = [](const char *pName, bool bDiffers, const Change &change) {
        QTest::newRow(pName) << change << bDiffers;
    };
    row("line break", true, [](auto *pModel) { pModel->item(ChangedRow, 1)->setText("a\nb\nc"); });
    row("line separator", true, [](auto *pModel) {
        pModel->item(ChangedRow, 1)->setText(QString("a\nb\nc").replace('\n', QChar(0x2028)));
    });
    row("other writing", false, [](auto *pModel) {
        pModel->item(ChangedRow, 1)->setText(QString::fromUtf8("\u0e1f\u0e49\u0e33 \u6f22 \u0905"));
    });
    row("font", true, [](auto *pModel) { pModel->item(ChangedRow, 1)->setFont(QFont("x", 40)); });
    row("size", true,
        [](auto *pModel) { pModel->item(ChangedRow, 1)->setSizeHint(QSize(10, 77)); });
    row("smaller light", true, [](auto *pModel) { pModel->item(ChangedRow)->setIcon(light(20)); });
    row("pixmap", true, [](auto *pModel) {
        pModel->item(ChangedRow)->setData(light(200).pixmap(200), Qt::DecorationRole);
    });
    row("images", true, [](auto *pModel) {
        for (int iRow : {0, ChangedRow})
            pModel->item(iRow)->setData(QImage(9, 40 + iRow, QImage::Format_RGB32),
                                        Qt::DecorationRole);
    });
    row("no light", true,
        [](auto *pModel) { pModel->item(ChangedRow)->setData(QVariant(), Qt::DecorationRole); });
    row("number for a text", false,
        [](auto *pModel) { pModel->item(ChangedRow, 1)->setData(7, Qt::DisplayRole); });
    row("no tick box, nor a light", true, [](auto *pModel) {
        for (int iRow : {0, ChangedRow})
            pModel->item(iRow)->setData(QVariant(), Qt::DecorationRole);
        pModel->item(ChangedRow)->setData(QVariant(), Qt::CheckStateRole);
    });
}

void TestTrackerDelegate::rowsThatDiffer()
{
    QFETCH(Change, change);
    QFETCH(bool, differs);
    compareHeights();
    const int iBefore = heights(view()).at(ChangedRow);
    change(model());
    compareHeights();
    if (differs)
        QVERIFY(heights(view()).at(ChangedRow) != iBefore);
}

void TestTrackerDelegate::setLetters(int iSize)
{
    QFont font;
    font.setPixelSize(iSize);
    for (QTreeView *pView : {view(), m_pReference.data()})
        pView->setFont(font);
}

void TestTrackerDelegate::noTexts()
{
    setLetters(100); // pixels: even an empty text is higher than a tick box and a light
    const QIcon icon = light(LightSize);
    for (int iColumn = 0; iColumn < Columns; ++iColumn) {
        model()->setItem(0, iColumn, new QStandardItem(""));
        model()->setItem(ChangedRow, iColumn, new QStandardItem);
        for (int iRow : {0, ChangedRow}) {
            model()->item(iRow, iColumn)->setCheckable(true);
            model()->item(iRow, iColumn)->setIcon(icon);
        }
    }
    compareHeights();
    QVERIFY(heights(view()).at(ChangedRow) < heights(view()).at(0));
}

void TestTrackerDelegate::longTexts()
{
    setLetters(400); // pixels: a text of 50,000 letters is wider than any line can be then
    compareHeights();
    const int iBefore = heights(view()).at(ChangedRow);
    model()->item(ChangedRow, 1)->setText(QString("word ").repeated(10000));
    compareHeights();
    QVERIFY(heights(view()).at(ChangedRow) > iBefore);
}

void TestTrackerDelegate::whatTheViewSets_data()
{
    QTest::addColumn<ViewChange>("change");
    const auto row = [](const char *pName, const ViewChange &change) {
        QTest::newRow(pName) << change;
    };
    row("font", [](QTreeView *pView) { pView->setFont(QFont("x", 40)); });
    row("size of the lights", [](QTreeView *pView) { pView->setIconSize(QSize(8, 8)); });
    row("style sheet", [](QTreeView *pView) { pView->setStyleSheet("::item { height: 50px }"); });
    row("screen", [](QTreeView *pView) {
        // As a denser one would have it, and the framework says only that the screen is another.
        static_cast<CountingStyle *>(pView->style())->m_iTickBox = 60;
        QEvent event(QEvent::ScreenChangeInternal);
        QCoreApplication::sendEvent(pView, &event);
    });
    row("style", [](QTreeView *pView) {
        auto *pStyle = new CountingStyle;
        pStyle->setParent(pView);
        pStyle->m_iTickBox = 60;
        pView->setStyle(pStyle);
    });
}

void TestTrackerDelegate::whatTheViewSets()
{
    QFETCH(ViewChange, change);
    compareHeights();
    const QList<int> before = heights(view());
    for (QTreeView *pView : {view(), m_pReference.data()})
        change(pView);
    compareHeights();
    QVERIFY(heights(view()) != before);
}

void TestTrackerDelegate::widthsAreMeasured()
{
    compareHeights(); // what is kept by now is kept with the width of some cell
    model()->item(0, 1)->setText("a name that is far longer than all of the others");
    for (int iColumn = 0; iColumn < Columns - 1; ++iColumn) { // the last one takes what is left
        // As a double click on the header's edge does.
        view()->resizeColumnToContents(iColumn);
        m_pReference->resizeColumnToContents(iColumn);
        QCOMPARE(view()->columnWidth(iColumn), m_pReference->columnWidth(iColumn));
    }
}

void TestTrackerDelegate::keysStayTheViews()
{
    // A delegate takes these from its editors.
    for (int iKey : {Qt::Key_Tab, Qt::Key_Backtab, Qt::Key_Return, Qt::Key_Escape}) {
        QKeyEvent key(QEvent::KeyPress, iKey, Qt::NoModifier);
        QVERIFY(!view()->itemDelegate()->eventFilter(view(), &key));
    }
}

VELTRANO_TEST_MAIN(TestTrackerDelegate)
#include "tst_trackerdelegate.moc"
