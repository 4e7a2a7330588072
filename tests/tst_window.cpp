// The window's construction and wiring: meta-object, owned objects, connections, the state at the
// start, and the controls that do nothing on purpose.

#include "markingtranslator.h"
#include "servedtest.h"

#include <QAbstractButton>
#include <QContextMenuEvent>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMetaMethod>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>

#include <memory>

namespace {
const QStringList &formWidgets()
{
    static const QStringList names{"centralWidget",  "groupComboBox", "barReaderFound",
                                   "calendarWidget", "normalProfile", "extendProfile",
                                   "activateButton", "label",         "accountBalance",
                                   "weeksLabel",     "userLineEdit",  "line",
                                   "loginButton",    "selectionBox",  "pushButtonNewGroup",
                                   "numberTrackers", "line_2",        "passwordLabel",
                                   "userLabel",      "groupLabel",    "weeksSpinBox",
                                   "startDateLabel", "treeView",      "passwordLineEdit",
                                   "buttonRefresh",  "progressBar",   "menuBar",
                                   "mainToolBar",    "statusBar"};
    return names;
}

/// Every connection to one of the window's own slots, as "sender signal -> slot".
const QStringList &allWiring()
{
    static const QStringList connections{
        "Select All clicked(bool) -> onSelectAll(bool)",
        "Select none clicked(bool) -> onSelectNone(bool)",
        "MainWindow signalGotSN(QString) -> gotABarCode(QString)",
        "activateButton clicked(bool) -> onActivateButton(bool)",
        "barReaderFound clicked(bool) -> onSearchBarReader(bool)",
        "buttonRefresh clicked(bool) -> onButtonRefresh(bool)",
        "extendProfile clicked(bool) -> setProfileButton(bool)",
        "groupComboBox currentIndexChanged(int) -> onGroupChanged(int)",
        "loginButton clicked(bool) -> onLoginClicked(bool)",
        "normalProfile clicked(bool) -> setProfileButton(bool)",
        "passwordLineEdit returnPressed() -> onLoginReturnPressed()",
        "pushButtonNewGroup clicked(bool) -> onNewGroup(bool)",
        "treeView customContextMenuRequested(QPoint) -> onTrackerContextMenuRequested(QPoint)",
        "treeView doubleClicked(QModelIndex) -> onTrackerDoubleClick(QModelIndex)",
        "weeksSpinBox editingFinished() -> on_weeksSpinBox_editingFinished()",
        "weeksSpinBox valueChanged(int) -> on_weeksSpinBox_valueChanged(int)"};
    return connections;
}

QMetaMethod ownMethod(int iLocalIndex)
{
    const QMetaObject &meta = MainWindow::staticMetaObject;
    return meta.method(meta.methodOffset() + iLocalIndex);
}

/// A sender is named by its object name, a selection button, which has none, by its text.
QString senderName(const QObject *pSender)
{
    return pSender->objectName().isEmpty() ? pSender->property("text").toString()
                                           : pSender->objectName();
}

/// Takes apart all connections from one signal to the window's own slots and lists them.
void takeConnections(QObject *pSender, const QMetaMethod &signal, QObject *pWindow,
                     QStringList *pFound)
{
    const QMetaObject &meta = MainWindow::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        // One at a time: a connection that was made twice is in the list twice.
        while (QMetaObject::disconnectOne(pSender, signal.methodIndex(), pWindow, i)) {
            *pFound << senderName(pSender) + ' ' + signal.methodSignature() + " -> " +
                           meta.method(i).methodSignature();
        }
    }
}

/// Takes the window's wiring apart and lists it, sorted.
QStringList takeWiring(QObject *pWindow)
{
    QStringList found;
    QObjectList senders = pWindow->findChildren<QObject *>();
    senders << pWindow << pWindow->findChild<QTreeView *>("treeView")->model();
    for (QObject *pSender : qAsConst(senders)) {
        const QMetaObject *pMeta = pSender->metaObject();
        for (int i = 0; i < pMeta->methodCount(); ++i) {
            if (pMeta->method(i).methodType() == QMetaMethod::Signal)
                takeConnections(pSender, pMeta->method(i), pWindow, &found);
        }
    }
    found.sort();
    return found;
}
} // namespace

class TestWindow : public ServedTest
{
    Q_OBJECT

private slots:
    void metaObject();
    void methods_data();
    void methods();

    void traces();
    void childObjects();
    void constructionOrder();
    void modelOutlivesTheWindow();
    void parentIsTheOneGiven();
    void settingsStore();
    void lastUser_data();
    void lastUser();
    void constructionStoresNothing();

    void stateAtStart();
    void everythingIsEnabled();
    void onlyTheProgressBarIsHidden();
    void form();
    void trackerModel();

    void wiring();
    void everySlotIsReachedByItsSignal_data();
    void everySlotIsReachedByItsSignal();
    void slotsAreCalledAtOnce();

    void selectionButtons();
    void selectionButtonsStandInOrder();
    void selectionButtonsAreNotTranslated();
    void formIsTranslatedAtConstruction();
    void formStaysWhenTheLanguageChanges();

    void rightClickOnlyEmits_data();
    void rightClickOnlyEmits();
    void newGroupDoesNothing_data();
    void newGroupDoesNothing();
    void returnInUserFieldDoesNothing();

private:
    void setUp() override;
    void logIn();
    /// Behind so many requests the next one is that of a click that follows.
    void expectNothingSent(int iBefore);
};

void TestWindow::setUp()
{
    QSettings().clear();
    ServedTest::setUp();
}

void TestWindow::logIn()
{
    server()->answer("/bslogin.php", R"({"id":7,"name":"Nora"})");
    server()->answer("/bsGetMyGroups.php", R"({"groups":[{"id":"12","group_name":"Club A"}]})");
    server()->answer("/bsGetGroupTrackers.php", R"({"trackers":[{"deviceSn":"1000001"}]})");
    widget<QPushButton>("loginButton")->click();
    QTRY_COMPARE(shownText("numberTrackers"), QString("(1)"));
}

void TestWindow::expectNothingSent(int iBefore)
{
    click("buttonRefresh");
    QTRY_VERIFY(server()->requests().size() > iBefore);
    QCOMPARE(server()->requests().at(iBefore).path(), QByteArray("/bsGetMyGroups.php"));
}

void TestWindow::metaObject()
{
    const QMetaObject &meta = MainWindow::staticMetaObject;
    QCOMPARE(window()->metaObject(), &meta);
    QCOMPARE(QString(meta.className()), QString("MainWindow"));
    QCOMPARE(meta.superClass(), &QMainWindow::staticMetaObject);
    QVERIFY(window()->inherits("MainWindow"));
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 25);
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    QCOMPARE(meta.enumeratorCount(), meta.enumeratorOffset());
    QCOMPARE(meta.classInfoCount(), meta.classInfoOffset());
    QCOMPARE(meta.constructorCount(), 0);
}

void TestWindow::methods_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArrayList>("parameters");
    int iIndex = 0;
    const auto row = [&](const char *pSignature, const QByteArrayList &parameters) {
        QTest::newRow(pSignature) << iIndex << parameters;
        ++iIndex;
    };
    row("signalGotSN(QString)", {"strSN"});
    row("onLoginClicked(bool)", {"bClick"});
    row("onLoginResult()", {});
    row("onGetGroupsResult()", {});
    row("onGroupChanged(int)", {"iIdx"});
    row("onGetTrackersResult()", {});
    row("onActivateButton(bool)", {"bClick"});
    row("setProfileButton(bool)", {"bClick"});
    row("onDoneActivations()", {});
    row("onUploadProgress(qint64,qint64)", {"sent", "total"});
    row("onTrackerDoubleClick(QModelIndex)", {"mindex"});
    row("onSelectAll(bool)", {"clicked"});
    row("onSelectNone(bool)", {"clicked"});
    row("onTrackerContextMenuRequested(QPoint)", {"pnt"});
    row("onBarCode()", {});
    row("onBarCodeError(QSerialPort::SerialPortError)", {"portError"});
    row("onSearchBarReader(bool)", {"bPress"});
    row("gotABarCode(QString)", {"strSN"});
    row("onLoginReturnPressed()", {});
    row("onNewGroup(bool)", {"bClicked"});
    row("onGotTrackerDetail()", {});
    row("onSavedTrackerDetail()", {});
    row("onButtonRefresh(bool)", {""});
    row("on_weeksSpinBox_editingFinished()", {});
    row("on_weeksSpinBox_valueChanged(int)", {"arg1"});
}

void TestWindow::methods()
{
    QFETCH(int, index);
    QFETCH(QByteArrayList, parameters);
    const QMetaMethod method = ownMethod(index);
    // Found by its signature: its own text of it has the long name of qint64.
    QCOMPARE(MainWindow::staticMetaObject.indexOfMethod(QTest::currentDataTag()),
             method.methodIndex());
    QCOMPARE(method.parameterNames(), parameters);
    QCOMPARE(method.methodType(), index == 0 ? QMetaMethod::Signal : QMetaMethod::Slot);
    QCOMPARE(method.access(), index == 0 ? QMetaMethod::Public : QMetaMethod::Private);
    QCOMPARE(method.returnType(), int(QMetaType::Void));
    QCOMPARE(QByteArray(method.tag()), QByteArray());
}

void TestWindow::traces()
{
    makeWindow();
    // A text of the program stands bare, a text that it was given in quotation marks.
    QCOMPARE(infoLog(), QStringList({"Construct", "step2", "\"tst_window\""}));
}

void TestWindow::childObjects()
{
    const QObjectList objects = window()->findChildren<QObject *>();
    for (const char *pClass : {"QSerialPort", "QNetworkAccessManager", "QSettings"}) {
        int iFound = 0;
        for (const QObject *pObject : objects) {
            if (!pObject->inherits(pClass))
                continue;
            ++iFound;
            QVERIFY2(pObject->parent() == window(), pClass);
        }
        QVERIFY2(iFound == 1, pClass);
    }
    const auto *pPort = window()->findChild<QSerialPort *>();
    QCOMPARE(pPort->portName(), QString());
    QVERIFY(!pPort->isOpen());
    QVERIFY(!model()->parent());

    const QPointer<QSerialPort> port = window()->findChild<QSerialPort *>();
    const QPointer<QNetworkAccessManager> manager = window()->findChild<QNetworkAccessManager *>();
    const QPointer<QSettings> settings = window()->findChild<QSettings *>();
    destroyWindow();
    QVERIFY(port.isNull());
    QVERIFY(manager.isNull());
    QVERIFY(settings.isNull());
}

void TestWindow::constructionOrder()
{
    QStringList order;
    for (const QObject *pChild : window()->children()) {
        const QString strClass = pChild->metaObject()->className();
        if (QStringList({"QStatusBar", "QSerialPort", "QNetworkAccessManager", "QSettings"})
                .contains(strClass))
            order << strClass;
    }
    // The status bar is the last thing that the form makes.
    QCOMPARE(order,
             QStringList({"QStatusBar", "QSerialPort", "QNetworkAccessManager", "QSettings"}));
}

void TestWindow::modelOutlivesTheWindow()
{
    const QPointer<QStandardItemModel> model = this->model();
    QVERIFY(!model.isNull());
    destroyWindow();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!model.isNull());
    QCOMPARE(model->rowCount(), 0);
}

void TestWindow::parentIsTheOneGiven()
{
    QCOMPARE(window()->parent(), nullptr);
    QCOMPARE(window()->windowFlags(), QMainWindow().windowFlags());
    QWidget parent;
    const MainWindow child(&parent);
    QCOMPARE(child.parentWidget(), &parent);
    QVERIFY(child.isWindow());
    QCOMPARE(child.windowFlags(), QMainWindow(&parent).windowFlags());
}

void TestWindow::settingsStore()
{
    const auto *pSettings = window()->findChild<QSettings *>();
    const QSettings byDefault;
    QCOMPARE(pSettings->organizationName(), QCoreApplication::organizationName());
    QCOMPARE(pSettings->applicationName(), QString("tst_window"));
    QCOMPARE(pSettings->format(), QSettings::NativeFormat);
    QCOMPARE(pSettings->scope(), QSettings::UserScope);
    QCOMPARE(pSettings->fileName(), byDefault.fileName());
    QCOMPARE(pSettings->group(), QString());
    QVERIFY(pSettings->fallbacksEnabled());
    QVERIFY(pSettings->isWritable());
}

void TestWindow::lastUser_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QString>("shown");
    QTest::newRow("nothing stored") << QVariant() << QString();
    QTest::newRow("an address") << QVariant("nora@club.example") << "nora@club.example";
    QTest::newRow("empty") << QVariant(QString()) << QString();
    QTest::newRow("blanks stay") << QVariant(" nora ") << " nora ";
    QTest::newRow("non-ASCII") << QVariant(QString::fromUtf8("ñandú@é"))
                               << QString::fromUtf8("ñandú@é");
    QTest::newRow("marks of the settings file") << QVariant("a;b=\"c\",[d]%e") << "a;b=\"c\",[d]%e";
    QTest::newRow("a number reads as text") << QVariant(42) << "42";
    QTest::newRow("a list is no text") << QVariant(QStringList{"a", "b"}) << QString();
}

void TestWindow::lastUser()
{
    QFETCH(QVariant, stored);
    QFETCH(QString, shown);
    destroyWindow();
    if (stored.isValid())
        QSettings().setValue("lastuser", stored);
    makeWindow();
    QCOMPARE(shownText("userLineEdit"), shown);
    QCOMPARE(shownText("passwordLineEdit"), QString());
}

void TestWindow::constructionStoresNothing()
{
    widget<QLineEdit>("userLineEdit")->setText("typed, never logged in");
    destroyWindow();
    QCOMPARE(QSettings().allKeys(), QStringList());
    QSettings().setValue("lastuser", "nora@club.example");
    makeWindow();
    widget<QLineEdit>("userLineEdit")->setText("typed, never logged in");
    window()->show();
    window()->close();
    destroyWindow();
    QCOMPARE(QSettings().allKeys(), QStringList("lastuser"));
    QCOMPARE(QSettings().value("lastuser"), QVariant("nora@club.example"));
}

void TestWindow::stateAtStart()
{
    QCOMPARE(shownText("userLineEdit"), QString());
    QCOMPARE(shownText("passwordLineEdit"), QString());
    QCOMPARE(combo()->count(), 0);
    QCOMPARE(shownText("accountBalance"), QString());
    QCOMPARE(shownText("numberTrackers"), QString());
    QCOMPARE(shownText("loginButton"), QString("Login"));
    QVERIFY(widget<QPushButton>("loginButton")->autoDefault());
    QVERIFY(widget<QPushButton>("loginButton")->isDefault());
    QVERIFY(!widget<QAbstractButton>("barReaderFound")->isChecked());
    QVERIFY(!window()->isVisible());
    QCOMPARE(server()->connections(), 0);
    // Nothing is on its way either: the first request is the one of this click.
    widget<QAbstractButton>("buttonRefresh")->click();
    QTRY_COMPARE(server()->requests().size(), 1);
    QCOMPARE(server()->connections(), 1);
    QCOMPARE(server()->requests().first().path(), QByteArray("/bsGetMyGroups.php"));
}

void TestWindow::everythingIsEnabled()
{
    QVERIFY(window()->isEnabled());
    for (const QString &strName : formWidgets())
        QVERIFY2(widget<QWidget>(qPrintable(strName))->isEnabled(), qPrintable(strName));
    const QList<QAbstractButton *> buttons = widget<QDialogButtonBox>("selectionBox")->buttons();
    for (const QAbstractButton *pButton : buttons)
        QVERIFY2(pButton->isEnabled(), qPrintable(pButton->text()));
}

void TestWindow::onlyTheProgressBarIsHidden()
{
    window()->show();
    QStringList hidden;
    for (const QString &strName : formWidgets()) {
        if (!widget<QWidget>(qPrintable(strName))->isVisible())
            hidden << strName;
    }
    QCOMPARE(hidden, QStringList("progressBar"));
    QCOMPARE(bar()->value(), 24);
}

void TestWindow::form()
{
    QCOMPARE(window()->objectName(), QString("MainWindow"));
    QCOMPARE(window()->windowTitle(), QString("Veltrano"));
    QCOMPARE(window()->size(), QSize(863, 727));
    QCOMPARE(window()->minimumSize(), QSize(600, 0));
    QCOMPARE(window()->windowState(), Qt::WindowNoState);
}

void TestWindow::trackerModel()
{
    QVERIFY(model());
    QCOMPARE(QByteArray(model()->metaObject()->className()), QByteArray("QStandardItemModel"));
    QCOMPARE(model()->rowCount(), 0);
    QCOMPARE(model()->columnCount(), 0);
    QVERIFY(view()->isHeaderHidden());
    QCOMPARE(view()->contextMenuPolicy(), Qt::CustomContextMenu);
}

void TestWindow::wiring()
{
    QStringList expected = allWiring();
    expected.sort();
    QCOMPARE(takeWiring(window()), expected);
    QCOMPARE(takeWiring(window()), QStringList());
}

void TestWindow::everySlotIsReachedByItsSignal_data()
{
    QTest::addColumn<QByteArray>("sender");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QByteArray>("slot");
    for (const QString &strConnection : allWiring()) {
        const QString strFrom = strConnection.section(" -> ", 0, 0);
        QTest::newRow(qPrintable(strFrom))
            << strFrom.section(' ', 0, -2).toUtf8() << strFrom.section(' ', -1).toUtf8()
            << strConnection.section(" -> ", 1).toUtf8();
    }
}

/// The same from the other end, by the signatures as text: each is there, and only once.
void TestWindow::everySlotIsReachedByItsSignal()
{
    QFETCH(QByteArray, sender);
    QFETCH(QByteArray, signal);
    QFETCH(QByteArray, slot);
    QObjectList senders = window()->findChildren<QObject *>();
    senders << window();
    QObject *pSender = nullptr;
    for (QObject *pObject : qAsConst(senders)) {
        if (senderName(pObject) == sender)
            pSender = pObject;
    }
    QVERIFY(pSender);
    const QByteArray baSignal = QByteArray::number(QSIGNAL_CODE) + signal;
    const QByteArray baSlot = QByteArray::number(QSLOT_CODE) + slot;
    QVERIFY(disconnect(pSender, baSignal, window(), baSlot));
    QVERIFY(!disconnect(pSender, baSignal, window(), baSlot));
}

void TestWindow::slotsAreCalledAtOnce()
{
    // No queue in between: the slot has run when the click returns.
    widget<QPushButton>("loginButton")->click();
    QVERIFY(!widget<QPushButton>("loginButton")->isEnabled());
    combo()->addItem("12 - Club A", "12");
    QVERIFY(!bar()->isHidden());
}

void TestWindow::selectionButtons()
{
    auto *pBox = widget<QDialogButtonBox>("selectionBox");
    const QList<QAbstractButton *> buttons = pBox->buttons();
    QCOMPARE(buttons.size(), 2);
    QCOMPARE(buttons.at(0)->text(), QString("Select All"));
    QCOMPARE(buttons.at(1)->text(), QString("Select none"));
    const QPushButton fresh;
    for (QAbstractButton *pButton : buttons) {
        QCOMPARE(QByteArray(pButton->metaObject()->className()), QByteArray("QPushButton"));
        QCOMPARE(pBox->buttonRole(pButton), QDialogButtonBox::ActionRole);
        QCOMPARE(pButton->parent(), pBox);
        QCOMPARE(pButton->objectName(), QString());
        QCOMPARE(pButton->minimumSize(), fresh.minimumSize());
        QCOMPARE(pButton->maximumSize(), fresh.maximumSize());
        QCOMPARE(pButton->sizePolicy(), fresh.sizePolicy());
        QVERIFY(!pButton->isCheckable());
    }
}

void TestWindow::selectionButtonsStandInOrder()
{
    window()->show();
    const QList<QAbstractButton *> buttons = widget<QDialogButtonBox>("selectionBox")->buttons();
    QVERIFY(buttons.at(0)->isVisible());
    QVERIFY(buttons.at(1)->isVisible());
    QVERIFY(buttons.at(0)->geometry().right() < buttons.at(1)->geometry().left());
    QCOMPARE(buttons.at(0)->y(), buttons.at(1)->y());
}

void TestWindow::selectionButtonsAreNotTranslated()
{
    const MarkingTranslator translator;
    makeWindow();
    const QList<QAbstractButton *> buttons = widget<QDialogButtonBox>("selectionBox")->buttons();
    QCOMPARE(buttons.at(0)->text(), QString("Select All"));
    QCOMPARE(buttons.at(1)->text(), QString("Select none"));
}

void TestWindow::formIsTranslatedAtConstruction()
{
    const MarkingTranslator translator;
    makeWindow();
    QCOMPARE(window()->windowTitle(), QString("MainWindow<Veltrano>"));
    QCOMPARE(shownText("loginButton"), QString("MainWindow<Login>"));
    QCOMPARE(shownText("weeksLabel"), QString("MainWindow<Days>"));
    QCOMPARE(shownText("accountBalance"), QString());
}

void TestWindow::formStaysWhenTheLanguageChanges()
{
    // The window handles no event by itself, a change of the language neither.
    const MarkingTranslator translator;
    QCoreApplication::sendPostedEvents(window(), QEvent::LanguageChange);
    QCOMPARE(window()->windowTitle(), QString("Veltrano"));
    QCOMPARE(shownText("loginButton"), QString("Login"));
}

void TestWindow::rightClickOnlyEmits_data()
{
    QTest::addColumn<bool>("onRow");
    QTest::newRow("on a row") << true;
    QTest::newRow("beside the rows") << false;
}

void TestWindow::rightClickOnlyEmits()
{
    QFETCH(bool, onRow);
    auto *pTree = view();
    // What the window then offers is not asked here.
    QVERIFY(disconnect(pTree, SIGNAL(customContextMenuRequested(QPoint)), window(),
                                     SLOT(onTrackerContextMenuRequested(QPoint))));
    model()->appendRow(new QStandardItem("1000001"));
    window()->show();
    QVERIFY(QTest::qWaitForWindowActive(window()));
    QSignalSpy requested(pTree, SIGNAL(customContextMenuRequested(QPoint)));
    const QPoint point = onRow ? pTree->visualRect(model()->index(0, 0)).center()
                               : pTree->viewport()->rect().bottomRight() - QPoint(5, 5);
    QCOMPARE(pTree->indexAt(point).isValid(), onRow);

    QTest::mouseClick(pTree->viewport(), Qt::RightButton, {}, point);
    QContextMenuEvent event(QContextMenuEvent::Mouse, point, pTree->viewport()->mapToGlobal(point));
    QCoreApplication::sendEvent(pTree->viewport(), &event);

    QVERIFY(event.isAccepted());
    QVERIFY(!requested.isEmpty());
    QCOMPARE(requested.last().first().toPoint(), point);
    QCOMPARE(QApplication::activePopupWidget(), nullptr);
}

void TestWindow::newGroupDoesNothing_data()
{
    QTest::addColumn<bool>("loggedIn");
    QTest::addColumn<int>("clicks");
    QTest::newRow("not logged in, one click") << false << 1;
    QTest::newRow("not logged in, many clicks") << false << 10;
    QTest::newRow("logged in, one click") << true << 1;
    QTest::newRow("logged in, many clicks") << true << 10;
}

void TestWindow::newGroupDoesNothing()
{
    QFETCH(bool, loggedIn);
    QFETCH(int, clicks);
    if (loggedIn)
        logIn();
    auto *pButton = widget<QPushButton>("pushButtonNewGroup");
    const QStringList before = windowState();
    const int iBefore = server()->requests().size();
    clearInfoLog();
    QSignalSpy clicked(pButton, SIGNAL(clicked(bool)));
    for (int i = 0; i < clicks; ++i)
        QTest::mouseClick(pButton, Qt::LeftButton);

    QCOMPARE(clicked.size(), clicks);
    QCOMPARE(windowState(), before);
    QCOMPARE(infoLog(), QStringList());
    QVERIFY(pButton->isEnabled());
    QVERIFY(!pButton->isHidden());
    expectNothingSent(iBefore);
}

void TestWindow::returnInUserFieldDoesNothing()
{
    window()->show();
    QVERIFY(QTest::qWaitForWindowActive(window()));
    auto *pUser = widget<QLineEdit>("userLineEdit");
    pUser->setFocus();
    const QStringList before = windowState();
    QSignalSpy clicked(widget<QPushButton>("loginButton"), SIGNAL(clicked(bool)));
    QTest::keyClick(pUser, Qt::Key_Return);
    QCOMPARE(clicked.size(), 0);
    QCOMPARE(windowState(), before);
    expectNothingSent(0);
}

VELTRANO_TEST_MAIN(TestWindow)
#include "tst_window.moc"
