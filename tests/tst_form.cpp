// The form: its members, cells, settings and texts, the keyboard's way through it, and translation.

#include "ui_mainwindow.h"

#include "markingtranslator.h"
#include "quiettest.h"

#include <QFile>
#include <QMetaProperty>
#include <QRegularExpression>
#include <QSet>
#include <QSignalSpy>

#include <cstring>
#include <memory>

namespace {
/// The members in the order in which set-up creates them, as "class name".
const QStringList &allMembers()
{
    static const QStringList members{"QWidget centralWidget",
                                     "QVBoxLayout verticalLayout",
                                     "QGridLayout gridLayout",
                                     "QComboBox groupComboBox",
                                     "QCheckBox barReaderFound",
                                     "QCalendarWidget calendarWidget",
                                     "QVBoxLayout verticalLayout_2",
                                     "QPushButton normalProfile",
                                     "QPushButton extendProfile",
                                     "QPushButton activateButton",
                                     "QLabel label",
                                     "QLabel accountBalance",
                                     "QLabel weeksLabel",
                                     "QPushButton pushButtonNewGroup",
                                     "QLineEdit userLineEdit",
                                     "QFrame line",
                                     "QPushButton loginButton",
                                     "QDialogButtonBox selectionBox",
                                     "QLabel numberTrackers",
                                     "QFrame line_2",
                                     "QLabel passwordLabel",
                                     "QLabel userLabel",
                                     "QLabel groupLabel",
                                     "QSpinBox weeksSpinBox",
                                     "QLabel startDateLabel",
                                     "QLineEdit passwordLineEdit",
                                     "QToolButton buttonRefresh",
                                     "QTreeView treeView",
                                     "QFormLayout activationForm",
                                     "QProgressBar progressBar",
                                     "QMenuBar menuBar",
                                     "QToolBar mainToolBar",
                                     "QStatusBar statusBar"};
    return members;
}

const QStringList &tabOrder()
{
    static const QStringList names{"userLineEdit",  "passwordLineEdit", "loginButton",
                                   "groupComboBox", "treeView",         "calendarWidget",
                                   "weeksSpinBox"};
    return names;
}

QString classOf(const QString &strMember)
{
    return strMember.section(' ', 0, 0);
}

QString nameOf(const QString &strMember)
{
    return strMember.section(' ', 1);
}

QStringList memberNames()
{
    QStringList names;
    for (const QString &strMember : allMembers())
        names << nameOf(strMember);
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

template <typename Widget>
QWidget *makeWidget(QWidget *pParent)
{
    return new Widget(pParent);
}

/// A widget of the class as the framework makes it.
QWidget *freshWidget(const QString &strClass, QWidget *pParent)
{
    using Maker = QWidget *(*)(QWidget *);
    static const QHash<QString, Maker> makers{{"QWidget", makeWidget<QWidget>},
                                              {"QComboBox", makeWidget<QComboBox>},
                                              {"QCheckBox", makeWidget<QCheckBox>},
                                              {"QCalendarWidget", makeWidget<QCalendarWidget>},
                                              {"QPushButton", makeWidget<QPushButton>},
                                              {"QLabel", makeWidget<QLabel>},
                                              {"QLineEdit", makeWidget<QLineEdit>},
                                              {"QFrame", makeWidget<QFrame>},
                                              {"QDialogButtonBox", makeWidget<QDialogButtonBox>},
                                              {"QSpinBox", makeWidget<QSpinBox>},
                                              {"QToolButton", makeWidget<QToolButton>},
                                              {"QTreeView", makeWidget<QTreeView>},
                                              {"QProgressBar", makeWidget<QProgressBar>},
                                              {"QMenuBar", makeWidget<QMenuBar>},
                                              {"QToolBar", makeWidget<QToolBar>},
                                              {"QStatusBar", makeWidget<QStatusBar>}};
    return makers.value(strClass)(pParent);
}

/// What follows from a widget's place and not from a setting of its own.
bool followsFromPlace(const QString &strProperty)
{
    static const QSet<QString> names{"frameRect",
                                     "pos",
                                     "size",
                                     "geometry",
                                     "x",
                                     "y",
                                     "width",
                                     "height",
                                     "rect",
                                     "frameGeometry",
                                     "frameSize",
                                     "sizeHint",
                                     "normalGeometry",
                                     "minimumSizeHint",
                                     "childrenRect",
                                     "childrenRegion",
                                     "visible"};
    return names.contains(strProperty);
}

bool sameValue(const QVariant &first, const QVariant &second)
{
    // Icons have no comparison; whether there is one has to do here.
    if (first.userType() == QMetaType::QIcon)
        return first.value<QIcon>().isNull() == second.value<QIcon>().isNull();
    return first == second;
}

/// The names of the properties in which a widget is not as the framework makes it.
QStringList changedProperties(const QWidget *pWidget)
{
    QWidget parent;
    const QWidget *pFresh = freshWidget(pWidget->metaObject()->className(), &parent);
    QStringList names;
    for (int i = 0; i < pWidget->metaObject()->propertyCount(); ++i) {
        const QMetaProperty property = pWidget->metaObject()->property(i);
        if (!followsFromPlace(property.name()) &&
            !sameValue(property.read(pWidget), property.read(pFresh)))
            names << property.name();
    }
    names.sort();
    return names;
}

/// The widgets of the form that the Tab key stops at, in the order of their creation but for the
/// tab order: each widget of it stands right behind the one before it.
QStringList stationsAsSet(const QWidget *pWindow)
{
    QStringList names;
    const QStringList known = memberNames();
    for (const QString &strName : known) {
        const auto *pWidget = pWindow->findChild<QWidget *>(strName);
        if (pWidget && (pWidget->focusPolicy() & Qt::TabFocus) == Qt::TabFocus)
            names << strName;
    }
    for (int i = 1; i < tabOrder().size(); ++i) {
        names.removeOne(tabOrder().at(i));
        names.insert(names.indexOf(tabOrder().at(i - 1)) + 1, tabOrder().at(i));
    }
    return names;
}

/// Those widgets in the order of the focus chain, from the first of stationsAsSet() once around.
QStringList stationsFound(const QWidget *pWindow)
{
    QStringList names;
    const QStringList known = stationsAsSet(pWindow);
    const auto *pFirst = pWindow->findChild<QWidget *>(known.first());
    const QWidget *pWidget = pFirst;
    do {
        if (known.contains(pWidget->objectName()))
            names << pWidget->objectName();
        pWidget = pWidget->nextInFocusChain();
    } while (pWidget != pFirst);
    return names;
}

/// The form's widget that has the keyboard, itself or through a part of it.
QString focusedName()
{
    const QStringList known = memberNames();
    const QWidget *pWidget = QApplication::focusWidget();
    while (pWidget && !known.contains(pWidget->objectName()))
        pWidget = pWidget->parentWidget();
    return pWidget ? pWidget->objectName() : QString();
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

    void furtherSettings_data();
    void furtherSettings();
    void sizePolicies_data();
    void sizePolicies();
    void minimumSizes_data();
    void minimumSizes();
    void texts_data();
    void texts();
    void balanceLabelIsAligned();
    void serviceTextIsPlain();
    void lines_data();
    void lines();
    void passwordIsMasked();
    void loginButtonIsMarked();
    void readerBoxHasTwoStates();
    void selectionBoxStaysLeftToRight();
    void refreshIcon();
    void treeView();
    void calendarShowsToday();
    void progressBar();

    void spinBox();
    void spinBoxRefusesValues_data();
    void spinBoxRefusesValues();
    void spinBoxKeys_data();
    void spinBoxKeys();
    void spinBoxSteps();

    void focusChainAsSet();
    void tabKeyWalks();
    void returnDoesNotClick_data();
    void returnDoesNotClick();

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
    QCOMPARE(found, allMembers());
    // And nothing else is in it, of whatever type.
    QCOMPARE(sizeof(Ui::MainWindow), size_t(allMembers().size()) * sizeof(void *));
}

void TestForm::memberNamesOneWidget_data()
{
    QTest::addColumn<QString>("type");
    for (const QString &strMember : allMembers())
        QTest::newRow(qPrintable(nameOf(strMember))) << classOf(strMember);
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
    QTest::addColumn<QRect>("cells"); // column, row, columns, rows
    QTest::newRow("userLabel") << QRect(0, 0, 1, 1);
    QTest::newRow("userLineEdit") << QRect(1, 0, 1, 1);
    QTest::newRow("passwordLabel") << QRect(0, 1, 1, 1);
    QTest::newRow("passwordLineEdit") << QRect(1, 1, 1, 1);
    QTest::newRow("label") << QRect(2, 1, 1, 1);
    QTest::newRow("accountBalance") << QRect(3, 1, 1, 1);
    QTest::newRow("loginButton") << QRect(1, 2, 1, 1);
    QTest::newRow("barReaderFound") << QRect(2, 2, 2, 1);
    QTest::newRow("line") << QRect(0, 3, 2, 2);
    QTest::newRow("groupLabel") << QRect(0, 5, 1, 1);
    QTest::newRow("groupComboBox") << QRect(1, 5, 2, 1);
    QTest::newRow("pushButtonNewGroup") << QRect(3, 5, 1, 1);
    QTest::newRow("buttonRefresh") << QRect(0, 6, 1, 1);
    QTest::newRow("selectionBox") << QRect(1, 6, 1, 1);
    QTest::newRow("numberTrackers") << QRect(0, 7, 1, 1);
    QTest::newRow("treeView") << QRect(1, 7, 3, 1);
    QTest::newRow("line_2") << QRect(0, 8, 2, 1);
    QTest::newRow("startDateLabel") << QRect(0, 9, 1, 1);
    QTest::newRow("calendarWidget") << QRect(1, 9, 2, 1);
    QTest::newRow("verticalLayout_2") << QRect(3, 9, 1, 1);
    QTest::newRow("weeksLabel") << QRect(0, 11, 1, 1);
    QTest::newRow("weeksSpinBox") << QRect(1, 11, 1, 1);
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

void TestForm::furtherSettings_data()
{
    // Everything that set-up changes in a widget, derived properties included.
    QTest::addColumn<QStringList>("changed");
    QTest::newRow("centralWidget") << QStringList{"objectName"};
    QTest::newRow("groupComboBox")
        << QStringList{"minimumSize", "minimumWidth", "objectName", "sizePolicy"};
    QTest::newRow("barReaderFound") << QStringList{"objectName", "text"};
    QTest::newRow("calendarWidget") << QStringList{"objectName", "sizePolicy"};
    QTest::newRow("normalProfile") << QStringList{"objectName", "text"};
    QTest::newRow("extendProfile") << QStringList{"objectName", "text"};
    QTest::newRow("activateButton") << QStringList{"objectName", "sizePolicy", "text"};
    QTest::newRow("label") << QStringList{"alignment", "objectName", "text"};
    QTest::newRow("accountBalance") << QStringList{"objectName", "textFormat"};
    QTest::newRow("weeksLabel") << QStringList{"objectName", "text"};
    QTest::newRow("pushButtonNewGroup") << QStringList{"objectName", "text"};
    QTest::newRow("userLineEdit") << QStringList{"minimumSize", "minimumWidth", "objectName",
                                                 "sizePolicy"};
    QTest::newRow("line") << QStringList{"frameShadow", "frameShape", "frameWidth", "objectName",
                                         "sizePolicy"};
    QTest::newRow("loginButton") << QStringList{"autoDefault", "default", "objectName",
                                                "sizePolicy", "text"};
    QTest::newRow("selectionBox") << QStringList{"objectName"};
    QTest::newRow("numberTrackers") << QStringList{"objectName"};
    QTest::newRow("line_2") << QStringList{"frameShadow", "frameShape", "frameWidth", "objectName",
                                           "sizePolicy"};
    QTest::newRow("passwordLabel") << QStringList{"objectName", "text"};
    QTest::newRow("userLabel") << QStringList{"objectName", "text"};
    QTest::newRow("groupLabel") << QStringList{"objectName", "text"};
    QTest::newRow("weeksSpinBox") << QStringList{
        "acceptableInput", "cleanText",  "maximum", "minimum",
        "objectName",      "sizePolicy", "text",    "value"};
    QTest::newRow("startDateLabel") << QStringList{"objectName", "text"};
    QTest::newRow("passwordLineEdit")
        << QStringList{"echoMode", "inputMethodHints", "objectName", "sizePolicy"};
    QTest::newRow("buttonRefresh") << QStringList{"icon", "objectName", "text"};
    QTest::newRow("treeView") << QStringList{"headerHidden", "minimumSize", "minimumWidth",
                                             "objectName", "sortingEnabled"};
    QTest::newRow("progressBar") << QStringList{"objectName", "text", "value"};
    QTest::newRow("menuBar") << QStringList{"objectName"};
    QTest::newRow("mainToolBar") << QStringList{"objectName"};
    QTest::newRow("statusBar") << QStringList{"objectName"};
}

void TestForm::furtherSettings()
{
    QFETCH(QStringList, changed);
    QCOMPARE(changedProperties(widget(QTest::currentDataTag())), changed);
}

void TestForm::sizePolicies_data()
{
    QTest::addColumn<int>("horizontal");
    QTest::addColumn<int>("vertical");
    const auto row = [](const char *pName, QSizePolicy::Policy horizontal,
                        QSizePolicy::Policy vertical) {
        QTest::newRow(pName) << int(horizontal) << int(vertical);
    };
    row("userLineEdit", QSizePolicy::Expanding, QSizePolicy::Fixed);
    row("passwordLineEdit", QSizePolicy::Fixed, QSizePolicy::Fixed);
    row("loginButton", QSizePolicy::Fixed, QSizePolicy::Fixed);
    row("groupComboBox", QSizePolicy::Preferred, QSizePolicy::Fixed);
    row("treeView", QSizePolicy::Expanding, QSizePolicy::Expanding);
    row("calendarWidget", QSizePolicy::Fixed, QSizePolicy::Fixed);
    row("weeksSpinBox", QSizePolicy::Fixed, QSizePolicy::Fixed);
    row("activateButton", QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void TestForm::sizePolicies()
{
    QFETCH(int, horizontal);
    QFETCH(int, vertical);
    const QWidget *pWidget = widget(QTest::currentDataTag());
    const QSizePolicy policy = pWidget->sizePolicy();
    QCOMPARE(int(policy.horizontalPolicy()), horizontal);
    QCOMPARE(int(policy.verticalPolicy()), vertical);
    QCOMPARE(policy.horizontalStretch(), 0);
    QCOMPARE(policy.verticalStretch(), 0);
    QWidget parent;
    const QWidget *pFresh = freshWidget(pWidget->metaObject()->className(), &parent);
    QCOMPARE(policy.hasHeightForWidth(), pFresh->sizePolicy().hasHeightForWidth());
}

void TestForm::minimumSizes_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("userLineEdit") << QSize(300, 0);
    QTest::newRow("groupComboBox") << QSize(300, 0);
    QTest::newRow("treeView") << QSize(500, 0);
}

void TestForm::minimumSizes()
{
    QFETCH(QSize, size);
    QCOMPARE(widget(QTest::currentDataTag())->minimumSize(), size);
}

void TestForm::texts_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("userLabel") << "User";
    QTest::newRow("userLineEdit") << QString();
    QTest::newRow("passwordLabel") << "Password";
    QTest::newRow("passwordLineEdit") << QString();
    QTest::newRow("label") << "Account Balance:";
    QTest::newRow("accountBalance") << QString();
    QTest::newRow("loginButton") << "Login";
    QTest::newRow("barReaderFound") << "BarCodeReader";
    QTest::newRow("groupLabel") << "Group";
    QTest::newRow("pushButtonNewGroup") << "New Group";
    QTest::newRow("buttonRefresh") << "...";
    QTest::newRow("numberTrackers") << QString();
    QTest::newRow("startDateLabel") << "Start Date";
    QTest::newRow("weeksLabel") << "Days";
    QTest::newRow("normalProfile") << "Normal Profile";
    QTest::newRow("extendProfile") << "Extended Profile";
    QTest::newRow("activateButton") << "Schedule Activation";
}

void TestForm::texts()
{
    QFETCH(QString, text);
    QCOMPARE(widget(QTest::currentDataTag())->property("text").toString(), text);
}

void TestForm::balanceLabelIsAligned()
{
    QCOMPARE(m_form.label->alignment(), Qt::AlignRight | Qt::AlignTrailing | Qt::AlignVCenter);
}

void TestForm::serviceTextIsPlain()
{
    // A label takes a text that looks rich for rich text, and then loads the files that it names.
    QCOMPARE(m_form.accountBalance->textFormat(), Qt::PlainText);
}

void TestForm::lines_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("above the group") << "line";
    QTest::newRow("below the table") << "line_2";
}

void TestForm::lines()
{
    QFETCH(QString, name);
    const auto *pLine = qobject_cast<QFrame *>(widget(name));
    QCOMPARE(pLine->frameShape(), QFrame::HLine);
    QCOMPARE(pLine->frameShadow(), QFrame::Sunken);
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

void TestForm::loginButtonIsMarked()
{
    const QList<QPushButton *> buttons = m_form.centralWidget->findChildren<QPushButton *>();
    for (const QPushButton *pButton : buttons) {
        const bool bMarked = pButton == m_form.loginButton;
        QVERIFY2(pButton->isDefault() == bMarked, qPrintable(pButton->objectName()));
        QVERIFY2(pButton->autoDefault() == bMarked, qPrintable(pButton->objectName()));
    }
}

void TestForm::readerBoxHasTwoStates()
{
    QVERIFY(m_form.barReaderFound->isEnabled());
    QVERIFY(!m_form.barReaderFound->isTristate());
    QVERIFY(!m_form.barReaderFound->isChecked());
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

void TestForm::treeView()
{
    QCOMPARE(m_form.treeView->selectionMode(), QAbstractItemView::SingleSelection);
    QVERIFY(m_form.treeView->rootIsDecorated());
    QVERIFY(m_form.treeView->isSortingEnabled());
    QVERIFY(m_form.treeView->isHeaderHidden());
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

void TestForm::progressBar()
{
    QVERIFY(m_form.progressBar->isEnabled());
    QCOMPARE(m_form.progressBar->minimum(), 0);
    QCOMPARE(m_form.progressBar->maximum(), 100);
    QCOMPARE(m_form.progressBar->value(), 24);
}

void TestForm::spinBox()
{
    QCOMPARE(m_form.weeksSpinBox->minimum(), 2);
    QCOMPARE(m_form.weeksSpinBox->maximum(), 365);
    QCOMPARE(m_form.weeksSpinBox->value(), 7);
    QCOMPARE(m_form.weeksSpinBox->text(), QString("7"));
    QCOMPARE(m_form.weeksSpinBox->singleStep(), 1);
    QCOMPARE(m_form.weeksSpinBox->stepType(), QAbstractSpinBox::DefaultStepType);
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

void TestForm::spinBoxKeys_data()
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

void TestForm::spinBoxKeys()
{
    QFETCH(QString, keys);
    QFETCH(int, value);
    showActive();
    m_form.weeksSpinBox->setFocus();
    m_form.weeksSpinBox->selectAll();
    QTest::keyClicks(m_form.weeksSpinBox, keys);
    QTest::keyClick(m_form.weeksSpinBox, Qt::Key_Return);
    QCOMPARE(m_form.weeksSpinBox->value(), value);
    QCOMPARE(m_form.weeksSpinBox->text(), QString::number(value));
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

void TestForm::focusChainAsSet()
{
    const QStringList expected = stationsAsSet(m_pWindow.get());
    QVERIFY(expected.size() > tabOrder().size());
    QCOMPARE(stationsFound(m_pWindow.get()), expected);
}

void TestForm::tabKeyWalks()
{
    showActive();
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

void TestForm::returnDoesNotClick_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("name");
    QTest::newRow("Return after the user") << int(Qt::Key_Return) << "userLineEdit";
    QTest::newRow("Enter after the user") << int(Qt::Key_Enter) << "userLineEdit";
    QTest::newRow("Return after the password") << int(Qt::Key_Return) << "passwordLineEdit";
    QTest::newRow("Enter after the password") << int(Qt::Key_Enter) << "passwordLineEdit";
}

void TestForm::returnDoesNotClick()
{
    QFETCH(int, key);
    QFETCH(QString, name);
    showActive();
    QWidget *pField = widget(name);
    pField->setFocus();
    QSignalSpy returns(pField, SIGNAL(returnPressed()));
    QSignalSpy clicks(m_form.loginButton, SIGNAL(clicked(bool)));
    QSignalSpy presses(m_form.loginButton, SIGNAL(pressed()));
    QTest::keyClick(pField, Qt::Key(key));
    QCOMPARE(returns.size(), 1);
    QCOMPARE(clicks.size(), 0);
    QCOMPARE(presses.size(), 0);
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
    const QHash<QString, QString> names{{"Veltrano", "MainWindow"},
                                        {"User", "userLabel"},
                                        {"Password", "passwordLabel"},
                                        {"Account Balance:", "label"},
                                        {"Login", "loginButton"},
                                        {"BarCodeReader", "barReaderFound"},
                                        {"Group", "groupLabel"},
                                        {"New Group", "pushButtonNewGroup"},
                                        {"...", "buttonRefresh"},
                                        {"Start Date", "startDateLabel"},
                                        {"Days", "weeksLabel"},
                                        {"Normal Profile", "normalProfile"},
                                        {"Extended Profile", "extendProfile"},
                                        {"Schedule Activation", "activateButton"}};
    const MarkingTranslator translator;
    m_form.retranslateUi(m_pWindow.get());

    QStringList texts;
    for (auto it = names.cbegin(); it != names.cend(); ++it) {
        texts << "MainWindow<" + it.key() + '>';
        const bool bWindow = it.value() == m_pWindow->objectName();
        QCOMPARE(bWindow ? m_pWindow->windowTitle() : widget(it.value())->property("text"),
                 QVariant(texts.last()));
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
