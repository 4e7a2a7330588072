// The form's own keys, before the program puts any around the window: the way of Tab, Return in the
// fields, digits in the box of days.

#include "ui_mainwindow.h"

#include "quiettest.h"

#include <QSignalSpy>

#include <memory>

namespace {
/// Whatever Tab stops at, in the order of its creation but for the seven that the form puts one
/// behind the other.
const QStringList &chain()
{
    static const QStringList names{"barReaderFound",   "normalProfile",      "extendProfile",
                                   "activateButton",   "pushButtonNewGroup", "userLineEdit",
                                   "passwordLineEdit", "loginButton",        "groupComboBox",
                                   "treeView",         "calendarWidget",     "weeksSpinBox",
                                   "buttonRefresh"};
    return names;
}

/// The seven.
QStringList tabOrder()
{
    constexpr int First = 5;
    constexpr int Count = 7;
    return chain().mid(First, Count);
}
} // namespace

class TestFormKeys : public QuietTest
{
    Q_OBJECT

private slots:
    void focusChainAsSet();
    void tabKeyWalks();
    void returnDoesNotClick_data();
    void returnDoesNotClick();
    void spinBoxKeys_data();
    void spinBoxKeys();

private:
    void setUp() override;
    void tearDown() override { m_pWindow.reset(); }
    QString focusedName() const;

    std::unique_ptr<QMainWindow> m_pWindow;
    Ui::MainWindow m_form;
};

void TestFormKeys::setUp()
{
    m_pWindow = std::make_unique<QMainWindow>();
    m_form.setupUi(m_pWindow.get());
    m_pWindow->show();
    QVERIFY(QTest::qWaitForWindowActive(m_pWindow.get()));
}

/// The form's widget that has the keyboard, itself or through a part of it.
QString TestFormKeys::focusedName() const
{
    const QWidget *pWidget = QApplication::focusWidget();
    while (pWidget && pWidget->parentWidget() != m_form.centralWidget)
        pWidget = pWidget->parentWidget();
    return pWidget ? pWidget->objectName() : QString();
}

void TestFormKeys::focusChainAsSet()
{
    QStringList found;
    const QWidget *pFirst = m_form.barReaderFound;
    const QWidget *pWidget = pFirst;
    do {
        const bool bStop = (pWidget->focusPolicy() & Qt::TabFocus) == Qt::TabFocus;
        if (bStop && pWidget->parentWidget() == m_form.centralWidget)
            found << pWidget->objectName();
        pWidget = pWidget->nextInFocusChain();
    } while (pWidget != pFirst);
    QCOMPARE(found, chain());
}

void TestFormKeys::tabKeyWalks()
{
    m_form.userLineEdit->setFocus();
    QStringList walked{focusedName()};
    while (walked.size() < tabOrder().size()) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        walked << focusedName();
    }
    QCOMPARE(walked, tabOrder());
    while (walked.size() > 1) {
        walked.removeLast();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
        QCOMPARE(focusedName(), walked.last());
    }
}

void TestFormKeys::returnDoesNotClick_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("name");
    QTest::newRow("Return after the user") << int(Qt::Key_Return) << "userLineEdit";
    QTest::newRow("Enter after the user") << int(Qt::Key_Enter) << "userLineEdit";
    QTest::newRow("Return after the password") << int(Qt::Key_Return) << "passwordLineEdit";
    QTest::newRow("Enter after the password") << int(Qt::Key_Enter) << "passwordLineEdit";
}

void TestFormKeys::returnDoesNotClick()
{
    QFETCH(int, key);
    QFETCH(QString, name);
    auto *pField = childOf<QLineEdit>(m_pWindow.get(), qPrintable(name));
    pField->setFocus();
    QSignalSpy returns(pField, SIGNAL(returnPressed()));
    QSignalSpy clicks(m_form.loginButton, SIGNAL(clicked(bool)));
    QSignalSpy presses(m_form.loginButton, SIGNAL(pressed()));
    QTest::keyClick(pField, Qt::Key(key));
    QCOMPARE(returns.size(), 1);
    QCOMPARE(clicks.size(), 0);
    QCOMPARE(presses.size(), 0);
}

void TestFormKeys::spinBoxKeys_data()
{
    QTest::addColumn<QString>("keys");
    QTest::addColumn<int>("value");
    QTest::newRow("least") << "2" << 2;
    QTest::newRow("below the least: the value before") << "1" << 7;
    QTest::newRow("nothing at all: the value before") << "0" << 7;
    QTest::newRow("greatest") << "365" << 365;
    QTest::newRow("last digit would be too much") << "366" << 36;
    QTest::newRow("a sign is refused") << "-5" << 5;
    QTest::newRow("letters are refused") << "1a2b" << 12;
}

void TestFormKeys::spinBoxKeys()
{
    QFETCH(QString, keys);
    QFETCH(int, value);
    m_form.weeksSpinBox->setFocus();
    m_form.weeksSpinBox->selectAll();
    QTest::keyClicks(m_form.weeksSpinBox, keys);
    QTest::keyClick(m_form.weeksSpinBox, Qt::Key_Return);
    QCOMPARE(m_form.weeksSpinBox->value(), value);
    QCOMPARE(m_form.weeksSpinBox->text(), QString::number(value));
}

VELTRANO_TEST_MAIN(TestFormKeys)
#include "tst_formkeys.moc"
