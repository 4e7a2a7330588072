// The form: its members, cells, settings and texts, and their translation.

#include "ui_mainwindow.h"

#include "markingtranslator.h"
#include "quiettest.h"

#include <QFile>
#include <QMetaEnum>
#include <QMetaProperty>
#include <QRegularExpression>
#include <QSet>

#include <cstring>
#include <iterator>
#include <memory>

namespace {
/// What the form says of each member, in the order in which set-up creates them.
struct Member
{
    const char *pClass;
    const char *pName;
    QRect cells; // column, row, columns and rows of the grid; none outside it
    const char *pSettings;
};

constexpr QRect NoCell;
constexpr Member Members[] = {
    {"QWidget", "centralWidget", NoCell, ""},
    {"QVBoxLayout", "verticalLayout", NoCell, ""},
    {"QGridLayout", "gridLayout", NoCell, ""},
    {"QComboBox", "groupComboBox", {1, 5, 2, 1}, "minimumSize=300x0; sizePolicy=Preferred,Fixed"},
    {"QCheckBox", "barReaderFound", {2, 2, 2, 1}, "text=BarCodeReader"},
    {"QCalendarWidget", "calendarWidget", {1, 9, 2, 1}, "sizePolicy=Fixed,Fixed"},
    {"QVBoxLayout", "verticalLayout_2", {3, 9, 1, 1}, ""},
    {"QPushButton", "normalProfile", NoCell, "text=Normal Profile"},
    {"QPushButton", "extendProfile", NoCell, "text=Extended Profile"},
    {"QPushButton", "activateButton", NoCell, "sizePolicy=Fixed,Fixed; text=Schedule Activation"},
    {"QLabel",
     "label",
     {2, 1, 1, 1},
     "alignment=AlignTrailing|AlignVCenter; text=Account Balance:"},
    {"QLabel", "accountBalance", {3, 1, 1, 1}, "textFormat=PlainText"},
    {"QLabel", "weeksLabel", {0, 11, 1, 1}, "text=Days"},
    {"QPushButton", "pushButtonNewGroup", {3, 5, 1, 1}, "text=New Group"},
    {"QLineEdit", "userLineEdit", {1, 0, 1, 1}, "minimumSize=300x0; sizePolicy=Expanding,Fixed"},
    {"QFrame",
     "line",
     {0, 3, 2, 2},
     "frameShadow=Sunken; frameShape=HLine; sizePolicy=Minimum,Fixed"},
    {"QPushButton",
     "loginButton",
     {1, 2, 1, 1},
     "autoDefault=true; default=true; sizePolicy=Fixed,Fixed; text=Login"},
    {"QDialogButtonBox", "selectionBox", {1, 6, 1, 1}, ""},
    {"QLabel", "numberTrackers", {0, 7, 1, 1}, ""},
    {"QFrame",
     "line_2",
     {0, 8, 2, 1},
     "frameShadow=Sunken; frameShape=HLine; sizePolicy=Minimum,Fixed"},
    {"QLabel", "passwordLabel", {0, 1, 1, 1}, "text=Password"},
    {"QLabel", "userLabel", {0, 0, 1, 1}, "text=User"},
    {"QLabel", "groupLabel", {0, 5, 1, 1}, "text=Group"},
    {"QSpinBox",
     "weeksSpinBox",
     {1, 11, 1, 1},
     "maximum=365; minimum=2; sizePolicy=Fixed,Fixed; value=7"},
    {"QLabel", "startDateLabel", {0, 9, 1, 1}, "text=Start Date"},
    {"QLineEdit",
     "passwordLineEdit",
     {1, 1, 1, 1},
     "echoMode=Password; "
     "inputMethodHints=ImhHiddenText|ImhSensitiveData|ImhNoAutoUppercase|ImhNoPredictiveText; "
     "sizePolicy=Fixed,Fixed"},
    {"QToolButton", "buttonRefresh", {0, 6, 1, 1}, "icon=there; text=..."},
    {"QTreeView",
     "treeView",
     {1, 7, 3, 1},
     "headerHidden=true; minimumSize=500x0; sortingEnabled=true"},
    {"QFormLayout", "activationForm", NoCell, ""},
    {"QProgressBar", "progressBar", NoCell, "value=24"},
    {"QMenuBar", "menuBar", NoCell, ""},
    {"QToolBar", "mainToolBar", NoCell, ""},
    {"QStatusBar", "statusBar", NoCell, ""},
};

QStringList memberNames()
{
    QStringList names;
    for (const Member &member : Members)
        names << member.pName;
    return names;
}

/// The generated form class, as the program is compiled with it.
QString generatedHeader()
{
    QFile file(UI_HEADER);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no generated form class in %s", UI_HEADER);
    return QString::fromUtf8(file.readAll());
}

/// The names of those children that the form names, in the order of their creation.
QStringList namedChildren(const QObject *pParent)
{
    QStringList names;
    const QStringList known = memberNames();
    for (const QObject *pChild : pParent->children()) {
        if (known.contains(pChild->objectName()))
            names << pChild->objectName();
    }
    return names;
}

/// A widget of the class, which is one of the given ones, as the framework makes it.
template <typename Widget, typename... Others>
QWidget *makeOneOf(const QMetaObject *pClass, QWidget *pParent)
{
    if (pClass == &Widget::staticMetaObject)
        return new Widget(pParent);
    if constexpr (sizeof...(Others) > 0)
        return makeOneOf<Others...>(pClass, pParent);
    qFatal("the form has a %s, too", pClass->className());
}

QWidget *freshWidget(const QMetaObject *pClass, QWidget *pParent)
{
    return makeOneOf<QWidget, QComboBox, QCheckBox, QCalendarWidget, QPushButton, QLabel, QLineEdit,
                     QFrame, QDialogButtonBox, QSpinBox, QToolButton, QTreeView, QProgressBar,
                     QMenuBar, QToolBar, QStatusBar>(pClass, pParent);
}

/// What follows from a widget's place or name, or from another property.
bool isNoSettingOfItsOwn(const QMetaProperty &property)
{
    static const QSet<QString> names{"frameRect", "geometry", "objectName", "minimumWidth",
                                     "pos",       "size",     "visible"};
    return !property.isWritable() || names.contains(property.name());
}

bool sameValue(const QVariant &first, const QVariant &second)
{
    // Pictures have no comparison; whether there is one has to do here.
    if (first.userType() == QMetaType::QIcon)
        return first.value<QIcon>().isNull() == second.value<QIcon>().isNull();
    if (first.userType() == QMetaType::QPixmap)
        return first.value<QPixmap>().isNull() == second.value<QPixmap>().isNull();
    return first == second;
}

QString written(const QSizePolicy &policy)
{
    const auto policies = QMetaEnum::fromType<QSizePolicy::Policy>();
    QString strText = QString("%1,%2").arg(policies.valueToKey(policy.horizontalPolicy()),
                                           policies.valueToKey(policy.verticalPolicy()));
    if (policy.horizontalStretch() != 0 || policy.verticalStretch() != 0)
        strText += QString(",%1,%2").arg(policy.horizontalStretch()).arg(policy.verticalStretch());
    return policy.hasHeightForWidth() ? strText + ",height for width" : strText;
}

QString written(const QMetaProperty &property, const QVariant &value)
{
    if (property.isFlagType())
        return property.enumerator().valueToKeys(value.toInt());
    if (property.isEnumType())
        return property.enumerator().valueToKey(value.toInt());
    switch (value.userType()) {
    case QMetaType::QIcon:
        return "there";
    case QMetaType::QSize:
        return QString("%1x%2").arg(value.toSize().width()).arg(value.toSize().height());
    case QMetaType::QSizePolicy:
        return written(value.value<QSizePolicy>());
    default:
        return value.toString();
    }
}

/// The properties in which a widget is not as the framework makes it, sorted, with their values.
QString settingsOf(const QWidget *pWidget)
{
    QWidget parent;
    const QWidget *pFresh = freshWidget(pWidget->metaObject(), &parent);
    QStringList settings;
    for (int i = 0; i < pWidget->metaObject()->propertyCount(); ++i) {
        const QMetaProperty property = pWidget->metaObject()->property(i);
        const QVariant value = property.read(pWidget);
        if (!isNoSettingOfItsOwn(property) && !sameValue(value, property.read(pFresh)))
            settings << QString("%1=%2").arg(property.name(), written(property, value));
    }
    settings.sort();
    return settings.join("; ");
}

/// A window with slots that are named after widgets and their signals.
class NamedSlots : public QMainWindow
{
    Q_OBJECT

public:
    QVector<int> m_values;
    int m_iFinished = 0;
    int m_iLoginClicks = 0;

public slots:
    void on_weeksSpinBox_valueChanged(int iValue) { m_values << iValue; }
    void on_weeksSpinBox_editingFinished() { ++m_iFinished; }
    void on_loginButton_clicked() { ++m_iLoginClicks; }
};
} // namespace

class TestForm : public QuietTest
{
    Q_OBJECT

private slots:
    void members();
    void memberNamesOneWidget_data();
    void memberNamesOneWidget();
    void creationOrder();
    void endOfSetUp();
    void statedDefaults_data();
    void statedDefaults();

    void window();
    void windowKeepsItsName();
    void windowIsNotNarrowerThan600();
    void bars();

    void columnOfLayouts();
    void gridCells_data();
    void gridCells();
    void gridHasNoOtherCells();
    void gridIsNotStretched();
    void profileColumn();

    void settings_data();
    void settings();
    void passwordIsMasked();
    void selectionBoxStaysLeftToRight();
    void refreshIcon();
    void headerIsHidden();
    void calendarShowsToday();

    void spinBoxRefusesValues_data();
    void spinBoxRefusesValues();
    void spinBoxSteps();

    void slotsAreConnectedByName();
    void everyTextIsTranslated();
    void valuesAreEmptiedUntranslated();

private:
    void setUp() override;
    void tearDown() override { m_pWindow.reset(); }
    QWidget *widget(const QString &strName) const
    {
        return childOf<QWidget>(m_pWindow.get(), qPrintable(strName));
    }
    void showActive();

    std::unique_ptr<QMainWindow> m_pWindow;
    Ui::MainWindow m_form;
};

void TestForm::setUp()
{
    m_pWindow = std::make_unique<QMainWindow>();
    m_form.setupUi(m_pWindow.get());
}

void TestForm::showActive()
{
    m_pWindow->show();
    QVERIFY(QTest::qWaitForWindowActive(m_pWindow.get()));
}

void TestForm::members()
{
    static const QRegularExpression declaration("^    (Q\\w+) \\*(\\w+);$",
                                                QRegularExpression::MultilineOption);
    QRegularExpressionMatchIterator matches = declaration.globalMatch(generatedHeader());
    QStringList found;
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        found << match.captured(1) + ' ' + match.captured(2);
    }
    QStringList expected;
    for (const Member &member : Members)
        expected << QString("%1 %2").arg(member.pClass, member.pName);
    QCOMPARE(found, expected);
    // And nothing else is in it, of whatever type.
    QCOMPARE(sizeof(Ui::MainWindow), std::size(Members) * sizeof(void *));
}

void TestForm::memberNamesOneWidget_data()
{
    QTest::addColumn<QString>("type");
    for (const Member &member : Members)
        QTest::newRow(member.pName) << member.pClass;
}

void TestForm::memberNamesOneWidget()
{
    QFETCH(QString, type);
    const QList<QObject *> found = m_pWindow->findChildren<QObject *>(QTest::currentDataTag());
    QCOMPARE(found.size(), 1);
    QCOMPARE(QString(found.first()->metaObject()->className()), type);
    // The members lie in the class one behind the other, in the order of the list.
    const int iMember = memberNames().indexOf(QTest::currentDataTag());
    const void *pMember = nullptr;
    std::memcpy(&pMember, reinterpret_cast<const char *>(&m_form) + iMember * sizeof(pMember),
                sizeof(pMember));
    QCOMPARE(pMember, static_cast<const void *>(found.first()));
}

void TestForm::creationOrder()
{
    QStringList inCentre = memberNames();
    for (const char *pName : {"centralWidget", "gridLayout", "verticalLayout_2", "activationForm",
                              "menuBar", "mainToolBar", "statusBar"})
        inCentre.removeOne(pName);
    QCOMPARE(namedChildren(m_form.centralWidget), inCentre);
    QCOMPARE(namedChildren(m_pWindow.get()),
             QStringList({"centralWidget", "menuBar", "mainToolBar", "statusBar"}));
    QCOMPARE(namedChildren(m_form.verticalLayout), QStringList({"gridLayout", "activationForm"}));
    QCOMPARE(namedChildren(m_form.gridLayout), QStringList("verticalLayout_2"));
}

void TestForm::endOfSetUp()
{
    const QString strHeader = generatedHeader();
    int iBefore = strHeader.indexOf("void setupUi");
    for (const char *pCall :
         {"->setCentralWidget(centralWidget)", "->setMenuBar(menuBar)",
          "->addToolBar(Qt::TopToolBarArea, mainToolBar)", "->setStatusBar(statusBar)",
          "QWidget::setTabOrder(userLineEdit, passwordLineEdit)",
          "QWidget::setTabOrder(calendarWidget, weeksSpinBox)", "        retranslateUi(",
          "loginButton->setDefault(true)", "QMetaObject::connectSlotsByName("}) {
        const int iCall = strHeader.indexOf(pCall);
        QVERIFY2(iCall > iBefore, pCall);
        iBefore = iCall;
    }
    QVERIFY(strHeader.indexOf("void retranslateUi") > iBefore);
}

void TestForm::statedDefaults_data()
{
    // Settings that are the framework's defaults too: only the text of set-up shows them.
    QTest::addColumn<QString>("call");
    QTest::newRow("reader box is enabled") << "barReaderFound->setEnabled(true);";
    QTest::newRow("reader box has two states") << "barReaderFound->setTristate(false);";
    QTest::newRow("progress bar is enabled") << "progressBar->setEnabled(true);";
    QTest::newRow("no standard buttons")
        << "selectionBox->setStandardButtons(QDialogButtonBox::NoButton);";
    QTest::newRow("step type") << "weeksSpinBox->setStepType(QAbstractSpinBox::DefaultStepType);";
    QTest::newRow("the table grows both ways")
        << "setHeightForWidth(treeView->sizePolicy().hasHeightForWidth());";
    QTest::newRow("selection mode")
        << "treeView->setSelectionMode(QAbstractItemView::SingleSelection);";
    QTest::newRow("layout direction") << "selectionBox->setLayoutDirection(Qt::LeftToRight);";
    QTest::newRow("root decoration") << "treeView->setRootIsDecorated(true);";
    QTest::newRow("icon for one mode and state, at any size")
        << "icon.addFile(QString::fromUtf8(\":/refresh.png\"), QSize(), QIcon::Normal, "
           "QIcon::Off);";
}

void TestForm::statedDefaults()
{
    QFETCH(QString, call);
    QCOMPARE(generatedHeader().count(call), 1);
}

void TestForm::window()
{
    QCOMPARE(m_pWindow->objectName(), QString("MainWindow"));
    QCOMPARE(m_pWindow->size(), QSize(863, 727));
    QCOMPARE(m_pWindow->minimumSize(), QSize(600, 0));
    QCOMPARE(m_pWindow->maximumSize(), QSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX));
    QCOMPARE(m_pWindow->windowTitle(), QString("Veltrano"));
    QCOMPARE(m_pWindow->centralWidget(), m_form.centralWidget);
    showActive();
    QCOMPARE(m_pWindow->size(), QSize(863, 727));
}

void TestForm::windowKeepsItsName()
{
    QMainWindow other;
    other.setObjectName("other");
    Ui::MainWindow form;
    form.setupUi(&other);
    QCOMPARE(other.objectName(), QString("other"));
    QCOMPARE(other.windowTitle(), QString("Veltrano"));
}

void TestForm::windowIsNotNarrowerThan600()
{
    showActive();
    m_pWindow->resize(100, 727);
    QTRY_COMPARE(m_pWindow->width(), 600);
    m_pWindow->resize(599, 727);
    QCOMPARE(m_pWindow->width(), 600);
}

void TestForm::bars()
{
    QCOMPARE(m_pWindow->menuBar(), m_form.menuBar);
    QCOMPARE(m_form.menuBar->geometry(), QRect(0, 0, 863, 22));
    QVERIFY(m_form.menuBar->actions().isEmpty());

    QCOMPARE(m_pWindow->findChildren<QToolBar *>(), QList<QToolBar *>{m_form.mainToolBar});
    QCOMPARE(m_pWindow->toolBarArea(m_form.mainToolBar), Qt::TopToolBarArea);
    QVERIFY(!m_pWindow->toolBarBreak(m_form.mainToolBar));
    QVERIFY(m_form.mainToolBar->actions().isEmpty());

    QCOMPARE(m_pWindow->statusBar(), m_form.statusBar);
    QCOMPARE(m_form.statusBar->currentMessage(), QString());
    QVERIFY(m_form.statusBar->findChildren<QLabel *>().isEmpty());
}

void TestForm::columnOfLayouts()
{
    QVBoxLayout *pColumn = m_form.verticalLayout;
    QCOMPARE(m_form.centralWidget->layout(), pColumn);
    QCOMPARE(pColumn->spacing(), 6);
    QCOMPARE(pColumn->contentsMargins(), QMargins(11, 11, 11, 11));

    QCOMPARE(pColumn->count(), 3);
    QCOMPARE(pColumn->itemAt(0)->layout(), m_form.gridLayout);
    QCOMPARE(pColumn->itemAt(1)->layout(), m_form.activationForm);
    QCOMPARE(pColumn->itemAt(2)->widget(), m_form.progressBar);
    for (int i = 0; i < pColumn->count(); ++i) {
        QCOMPARE(pColumn->stretch(i), 0);
        QCOMPARE(pColumn->itemAt(i)->alignment(), Qt::Alignment());
    }

    QCOMPARE(m_form.activationForm->horizontalSpacing(), 6);
    QCOMPARE(m_form.activationForm->verticalSpacing(), 6);
    QCOMPARE(m_form.activationForm->count(), 0);
    QCOMPARE(m_form.activationForm->rowCount(), 0);
    QCOMPARE(m_form.activationForm->contentsMargins(), QMargins());
}

void TestForm::gridCells_data()
{
    QTest::addColumn<QRect>("cells");
    for (const Member &member : Members) {
        if (member.cells != NoCell)
            QTest::newRow(member.pName) << member.cells;
    }
}

void TestForm::gridCells()
{
    QFETCH(QRect, cells);
    auto *pObject = m_pWindow->findChild<QObject *>(QTest::currentDataTag());
    QVERIFY(pObject);
    QLayoutItem *pFound = nullptr;
    QRect place;
    for (int i = 0; i < m_form.gridLayout->count(); ++i) {
        QLayoutItem *pItem = m_form.gridLayout->itemAt(i);
        if (pItem->widget() != pObject && pItem->layout() != pObject)
            continue;
        QVERIFY(!pFound);
        pFound = pItem;
        int x = 0, y = 0, width = 0, height = 0;
        m_form.gridLayout->getItemPosition(i, &y, &x, &height, &width);
        place = QRect(x, y, width, height);
    }
    QVERIFY(pFound);
    QCOMPARE(place, cells);
    QCOMPARE(pFound->alignment(), Qt::Alignment());
}

void TestForm::gridHasNoOtherCells()
{
    QCOMPARE(m_form.gridLayout->count(), 22);
    QCOMPARE(m_form.gridLayout->rowCount(), 12);
    QCOMPARE(m_form.gridLayout->columnCount(), 4);
    for (int iColumn = 0; iColumn < 4; ++iColumn) {
        QVERIFY(!m_form.gridLayout->itemAtPosition(10, iColumn));
        QLayoutItem *pItem = m_form.gridLayout->itemAtPosition(4, iColumn);
        QCOMPARE(pItem ? pItem->widget() : nullptr, iColumn < 2 ? m_form.line : nullptr);
    }
}

void TestForm::gridIsNotStretched()
{
    QGridLayout *pGrid = m_form.gridLayout;
    QCOMPARE(pGrid->horizontalSpacing(), 6);
    QCOMPARE(pGrid->verticalSpacing(), 6);
    QCOMPARE(pGrid->contentsMargins(), QMargins());
    for (int i = 0; i < pGrid->columnCount(); ++i) {
        QCOMPARE(pGrid->columnStretch(i), 0);
        QCOMPARE(pGrid->columnMinimumWidth(i), 0);
    }
    for (int i = 0; i < pGrid->rowCount(); ++i) {
        QCOMPARE(pGrid->rowStretch(i), 0);
        QCOMPARE(pGrid->rowMinimumHeight(i), 0);
    }
}

void TestForm::profileColumn()
{
    QVBoxLayout *pColumn = m_form.verticalLayout_2;
    QCOMPARE(pColumn->spacing(), 6);
    QCOMPARE(pColumn->contentsMargins(), QMargins());
    QCOMPARE(pColumn->count(), 3);
    QCOMPARE(pColumn->itemAt(0)->widget(), m_form.normalProfile);
    QCOMPARE(pColumn->itemAt(1)->widget(), m_form.extendProfile);
    QCOMPARE(pColumn->itemAt(2)->widget(), m_form.activateButton);
    for (int i = 0; i < pColumn->count(); ++i) {
        QCOMPARE(pColumn->stretch(i), 0);
        QCOMPARE(pColumn->itemAt(i)->alignment(), Qt::Alignment());
    }
}

void TestForm::settings_data()
{
    QTest::addColumn<QString>("settings");
    for (const Member &member : Members) {
        if (!QString(member.pClass).endsWith("Layout"))
            QTest::newRow(member.pName) << member.pSettings;
    }
}

void TestForm::settings()
{
    QFETCH(QString, settings);
    QCOMPARE(settingsOf(widget(QTest::currentDataTag())), settings);
}

void TestForm::passwordIsMasked()
{
    QCOMPARE(m_form.passwordLineEdit->echoMode(), QLineEdit::Password);
    QTest::keyClicks(m_form.passwordLineEdit, "secret");
    QCOMPARE(m_form.passwordLineEdit->text(), QString("secret"));
    const QString strShown = m_form.passwordLineEdit->displayText();
    QCOMPARE(strShown.size(), 6);
    QCOMPARE(strShown.count(strShown.at(0)), 6);
    QVERIFY(!QString("secret").contains(strShown.at(0)));
    QCOMPARE(m_form.userLineEdit->echoMode(), QLineEdit::Normal);
}

void TestForm::selectionBoxStaysLeftToRight()
{
    QCOMPARE(m_form.selectionBox->standardButtons(), QDialogButtonBox::NoButton);
    QVERIFY(m_form.selectionBox->buttons().isEmpty());
    m_pWindow->setLayoutDirection(Qt::RightToLeft);
    QCOMPARE(m_form.userLabel->layoutDirection(), Qt::RightToLeft);
    QCOMPARE(m_form.selectionBox->layoutDirection(), Qt::LeftToRight);
}

void TestForm::refreshIcon()
{
    const QIcon icon = m_form.buttonRefresh->icon();
    QCOMPARE(icon.availableSizes(QIcon::Normal, QIcon::Off), QList<QSize>{QSize(256, 256)});
    for (QIcon::Mode mode : {QIcon::Normal, QIcon::Disabled, QIcon::Active, QIcon::Selected}) {
        QVERIFY(icon.availableSizes(mode, QIcon::On).isEmpty());
        if (mode != QIcon::Normal)
            QVERIFY(icon.availableSizes(mode, QIcon::Off).isEmpty());
    }
    const QImage drawn = icon.pixmap(256, 256).toImage();
    QCOMPARE(drawn, QImage(":/refresh.png").convertToFormat(drawn.format()));
}

void TestForm::headerIsHidden()
{
    showActive();
    QVERIFY(!m_form.treeView->header()->isVisible());
}

void TestForm::calendarShowsToday()
{
    const QDate before = QDate::currentDate();
    QMainWindow window;
    Ui::MainWindow form;
    form.setupUi(&window);
    QVERIFY(form.calendarWidget->selectedDate() >= before);
    QVERIFY(form.calendarWidget->selectedDate() <= QDate::currentDate());
}

void TestForm::spinBoxRefusesValues_data()
{
    QTest::addColumn<int>("given");
    QTest::addColumn<int>("kept");
    QTest::newRow("least") << 2 << 2;
    QTest::newRow("below the least") << 1 << 2;
    QTest::newRow("nothing") << 0 << 2;
    QTest::newRow("negative") << -5 << 2;
    QTest::newRow("greatest") << 365 << 365;
    QTest::newRow("above the greatest") << 366 << 365;
}

void TestForm::spinBoxRefusesValues()
{
    QFETCH(int, given);
    QFETCH(int, kept);
    m_form.weeksSpinBox->setValue(given);
    QCOMPARE(m_form.weeksSpinBox->value(), kept);
}

void TestForm::spinBoxSteps()
{
    m_form.weeksSpinBox->stepBy(1);
    QCOMPARE(m_form.weeksSpinBox->value(), 8);
    m_form.weeksSpinBox->setValue(3);
    m_form.weeksSpinBox->stepBy(-1);
    m_form.weeksSpinBox->stepBy(-1);
    QCOMPARE(m_form.weeksSpinBox->value(), 2);
    m_form.weeksSpinBox->setValue(365);
    m_form.weeksSpinBox->stepBy(1);
    QCOMPARE(m_form.weeksSpinBox->value(), 365);
}

void TestForm::slotsAreConnectedByName()
{
    NamedSlots window;
    Ui::MainWindow form;
    form.setupUi(&window);
    QCOMPARE(window.m_values, QVector<int>()); // only after the first value was set
    form.weeksSpinBox->setValue(30);
    QCOMPARE(window.m_values, QVector<int>{30});
    QTest::keyClick(form.weeksSpinBox, Qt::Key_Return);
    QCOMPARE(window.m_iFinished, 1);
    form.loginButton->click();
    QCOMPARE(window.m_iLoginClicks, 1);
}

void TestForm::everyTextIsTranslated()
{
    const MarkingTranslator translator;
    m_form.retranslateUi(m_pWindow.get());
    QStringList texts{"MainWindow<Veltrano>"};
    QCOMPARE(m_pWindow->windowTitle(), texts.first());
    for (const Member &member : Members) {
        const QString strText = QString(member.pSettings).section("text=", 1);
        if (strText.isEmpty())
            continue;
        texts << "MainWindow<" + strText + '>';
        QCOMPARE(widget(member.pName)->property("text").toString(), texts.last());
    }
    texts.sort();
    QStringList asked = translator.answers("MainWindow");
    asked.sort();
    QCOMPARE(asked, texts); // each once, and no other text
}

void TestForm::valuesAreEmptiedUntranslated()
{
    const MarkingTranslator translator;
    m_form.accountBalance->setText("12.50");
    m_form.numberTrackers->setText("(2)");
    m_form.retranslateUi(m_pWindow.get());
    QCOMPARE(m_form.accountBalance->text(), QString());
    QCOMPARE(m_form.numberTrackers->text(), QString());
    QVERIFY(!translator.answers("MainWindow").contains("MainWindow<>"));
}

VELTRANO_TEST_MAIN(TestForm)
#include "tst_form.moc"
