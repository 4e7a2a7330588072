// What a screen reader is told of the window: a walk over what the framework hands to it.

#include "servedtest.h"

#include "app/accessiblenames.h"

#include "details/edittracker.h"

#include <QAccessible>
#include <QLabel>
#include <QLineEdit>

namespace {
/// What is said of an object: its label's text, or its own name.
QString spokenName(QAccessibleInterface *pInterface)
{
    const auto relations = pInterface->relations(QAccessible::Label);
    return (relations.isEmpty() ? pInterface : relations.first().first)->text(QAccessible::Name);
}

QString spokenName(QWidget *pWidget)
{
    return spokenName(QAccessible::queryAccessibleInterface(pWidget));
}

/// Of the table the framework does not say it, though Tab leads there.
bool isFocusable(const QAccessibleInterface *pInterface)
{
    const auto *pWidget = qobject_cast<const QWidget *>(pInterface->object());
    return pInterface->state().focusable || (pWidget && pWidget->focusPolicy() & Qt::TabFocus);
}

/// One line for each object from here down that can have the keyboard: name and role.
void collectFocusable(QAccessibleInterface *pInterface, QStringList *pLines)
{
    const auto *pWidget = qobject_cast<const QWidget *>(pInterface->object());
    if (pInterface->state().invisible || (pWidget && !pWidget->isVisible()))
        return; // the list of a combo box says only by the latter that it is closed
    if (isFocusable(pInterface))
        *pLines << spokenName(pInterface) + ": " + qAccessibleRoleString(pInterface->role());
    // A table's cells are named by their texts, and there are as many as there are trackers.
    for (int i = 0; i < pInterface->childCount() && !pInterface->tableInterface(); ++i)
        collectFocusable(pInterface->child(i), pLines);
}
} // namespace

class TestAccessibleNames : public ServedTest
{
    Q_OBJECT

private slots:
    void everyFocusableWidget();
    void barWhileItIsShown();
    void cells();
    void dialog();
    void buddies_data();
    void buddies();

private:
    void setUp() override;
};

void TestAccessibleNames::setUp()
{
    ServedTest::setUp();
    setAccessibleNames(window());
    window()->show();
    QVERIFY(QTest::qWaitForWindowActive(window()));
}

void TestAccessibleNames::everyFocusableWidget()
{
    QStringList lines;
    collectFocusable(QAccessible::queryAccessibleInterface(window()), &lines);
    lines.sort();
    // The calendar stands there twice: as a whole, and the part of it that has the keyboard.
    QCOMPARE(lines,
             QStringList({"BarCodeReader: CheckBox", "Days: SpinBox", "Extended Profile: Button",
                          "Group: ComboBox", "Login: Button", "New Group: Button",
                          "Normal Profile: Button", "Password: EditableText", "Refresh: Button",
                          "Schedule Activation: Button", "Select All: Button",
                          "Select none: Button", "Start Date: Table", "Start Date: Table",
                          "Trackers: Tree", "User: EditableText"}));
}

void TestAccessibleNames::barWhileItIsShown()
{
    bar()->show();
    QCOMPARE(spokenName(bar()), QString("Progress"));
}

void TestAccessibleNames::cells()
{
    fill(R"({"deviceSn":"0041200","TrackerName":"Nora","activations":)"
         R"([{"id":"7","startTime":"2026-03-01","endTime":"2026-03-07"}]})");
    tick({0});
    view()->expandAll();
    QAccessibleTableInterface *pTable =
        QAccessible::queryAccessibleInterface(view())->tableInterface();
    QCOMPARE(pTable->columnDescription(0), QString("Serial Number"));
    QCOMPARE(pTable->cellAt(0, 0)->text(QAccessible::Name), QString("0041200"));
    QVERIFY(pTable->cellAt(0, 0)->state().checked);
    QCOMPARE(pTable->cellAt(0, 1)->text(QAccessible::Name), QString("Nora"));
    QCOMPARE(pTable->cellAt(1, 0)->text(QAccessible::Name), QString("2026-03-01 -> 2026-03-07"));
}

void TestAccessibleNames::dialog()
{
    EditTracker dialog(window());
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QCOMPARE(spokenName(childOf<QLineEdit>(&dialog, "trackerNameLineEdit")),
             QString("Tracker Name"));
}

void TestAccessibleNames::buddies_data()
{
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("widget");
    QTest::newRow("user") << "userLabel"
                          << "userLineEdit";
    QTest::newRow("password") << "passwordLabel"
                              << "passwordLineEdit";
    QTest::newRow("group") << "groupLabel"
                           << "groupComboBox";
    QTest::newRow("start") << "startDateLabel"
                           << "calendarWidget";
    QTest::newRow("days") << "weeksLabel"
                          << "weeksSpinBox";
}

void TestAccessibleNames::buddies()
{
    QFETCH(QString, label);
    QFETCH(QString, widget);
    const auto *pLabel = childOf<QLabel>(window(), label.toLatin1().constData());
    QVERIFY(pLabel->buddy());
    QCOMPARE(pLabel->buddy()->objectName(), widget);
}

VELTRANO_TEST_MAIN(TestAccessibleNames)
#include "tst_accessiblenames.moc"
