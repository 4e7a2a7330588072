// One tracker's details: the look-up behind a double click, the dialog with its form, the save.

#include "markingtranslator.h"
#include "servedtest.h"

#include "details/edittracker.h"
#include "ui_edittracker.h"

#include <QDialogButtonBox>
#include <QFile>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>

namespace {
constexpr const char *InfoPath = "/bsGetGroupTrackerInfo.php";
const char *const Trackers =
    R"({"deviceSn":"1000001","TrackerName":"Fox","state":"A"},)"
    R"({"deviceSn":"1000002","TrackerName":"Owl","state":null,"activations":[)"
    R"({"id":"1234","startTime":"a","endTime":"b","done":"1"},{"id":"8","done":"0"}]})";
const char *const Fox = R"({"name":"Fox","deviceSN":"1000001","SN":"77"})";
const int FoxSize = int(qstrlen(Fox));

QByteArray target(const QByteArray &baItems)
{
    return InfoPath + QByteArray("?") + baItems;
}

/// A dialog with slots that are named after widgets and their signals.
class NamedSlots : public QDialog
{
    Q_OBJECT

public:
    int m_iEdits = 0;

public slots:
    void on_trackerNameLineEdit_textChanged(const QString &) { ++m_iEdits; }
};
} // namespace

class TestDetails : public ServedTest
{
    Q_OBJECT

private slots:
    void formMembers();
    void formOrder();
    void formGeometry();
    void formLayout();
    void formTexts();
    void formButtons();
    void formKeepsAName();
    void formConnectsByName();
    void formIsTranslated();
    void dialogAddsNothing();
    void dialogNames_data();
    void dialogNames();

    void lookUpBytes();
    void lookUpFromEveryCell_data();
    void lookUpFromEveryCell();
    void lookUpOfAnEditedNumber();
    void groupTexts_data();
    void groupTexts();
    void mouseDoubleClicks_data();
    void mouseDoubleClicks();
    void periodsAreTraced();
    void invalidIndex();
    void lookUpLog();
    void everyDoubleClickAsksAgain();

    void dialogAsShown();
    void detailLog_data();
    void detailLog();
    void endings_data();
    void endings();
    void saveBytes();
    void saveItems_data();
    void saveItems();
    void brokenReplies_data();
    void brokenReplies();
    void refusedSessionIsIgnored();
    void groupOfTheMomentOfSaving();

    void progressIsDrivenNotShown();
    void savedReplyIsOnlyLogged_data();
    void savedReplyIsOnlyLogged();
    void savedNameShowsAfterReload();
    void repliesStay();

private:
    void doubleClick(const QModelIndex &index) const
    {
        QMetaObject::invokeMethod(view(), "doubleClicked", Q_ARG(QModelIndex, index));
    }
    QModelIndex cell(int iRow, int iColumn = 0) const { return model()->index(iRow, iColumn); }
    QList<QByteArray> targets() const;
    void lookUp();
    void edit(const ScriptedServer::Behaviour &reply,
              const std::function<void(EditTracker *)> &action);
    void editAndAccept(const QByteArray &baReply, const QString &strName = QString());
};

/// The targets of all detail requests, in the order of their arrival.
QList<QByteArray> TestDetails::targets() const
{
    QList<QByteArray> found;
    const QList<ScriptedServer::Request> requests = server()->requestsTo(InfoPath);
    for (const ScriptedServer::Request &request : requests)
        found << request.target();
    return found;
}

/// A table, and the look-up of its first tracker under way.
void TestDetails::lookUp()
{
    fill(Trackers);
    doubleClick(cell(0));
    QTRY_COMPARE(targets().size(), 1);
    clearInfoLog();
}

/// Answers the look-up and acts on the dialog; returns when the dialog is closed.
void TestDetails::edit(const ScriptedServer::Behaviour &reply,
                       const std::function<void(EditTracker *)> &action)
{
    const WhileOpen visit([&](QWidget *pOpen) {
        auto *pDialog = qobject_cast<EditTracker *>(pOpen);
        QVERIFY(pDialog);
        action(pDialog);
    });
    serve(InfoPath, reply);
    QTRY_VERIFY(visit.hasActed());
}

/// The name is typed over unless it is null.
void TestDetails::editAndAccept(const QByteArray &baReply, const QString &strName)
{
    edit(ScriptedServer::reply(baReply), [&](EditTracker *pDialog) {
        if (!strName.isNull())
            childOf<QLineEdit>(pDialog, "trackerNameLineEdit")->setText(strName);
        childOf<QDialogButtonBox>(pDialog, "buttonBox")->button(QDialogButtonBox::Ok)->click();
    });
}

void TestDetails::formMembers()
{
    QFile header(UI_HEADER);
    QVERIFY(header.open(QIODevice::ReadOnly));
    const QString strHeader = QString::fromUtf8(header.readAll());
    static const QRegularExpression declaration("^    (Q\\w+) \\*(\\w+);$",
                                                QRegularExpression::MultilineOption);
    QStringList found;
    QRegularExpressionMatchIterator matches = declaration.globalMatch(strHeader);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        found << match.captured(1) + ' ' + match.captured(2);
    }
    const QStringList members{"QDialogButtonBox buttonBox", "QWidget formLayoutWidget",
                              "QFormLayout formLayout", "QLabel trackerNameLabel",
                              "QLineEdit trackerNameLineEdit"};
    QCOMPARE(found, members);
    QCOMPARE(sizeof(Ui::EditTracker), members.size() * sizeof(void *));

    int iBefore = strHeader.indexOf("void setupUi");
    for (const char *pCall :
         {"->setObjectName(", "->resize(439, 333)", "buttonBox = new ", "formLayoutWidget = new ",
          "formLayout = new ", "trackerNameLabel = new ", "trackerNameLineEdit = new ",
          "        retranslateUi(", "SIGNAL(accepted()), EditTracker, SLOT(accept())",
          "SIGNAL(rejected()), EditTracker, SLOT(reject())", "QMetaObject::connectSlotsByName("}) {
        const int iCall = strHeader.indexOf(pCall);
        QVERIFY2(iCall > iBefore, pCall);
        iBefore = iCall;
    }
}

void TestDetails::formOrder()
{
    QDialog dialog;
    Ui::EditTracker form;
    form.setupUi(&dialog);
    QStringList names;
    for (const QObject *pChild : dialog.children())
        names << pChild->objectName();
    QCOMPARE(names, QStringList({"buttonBox", "formLayoutWidget"}));
    names.clear();
    for (const QObject *pChild : form.formLayoutWidget->children())
        names << pChild->objectName();
    QCOMPARE(names, QStringList({"formLayout", "trackerNameLabel", "trackerNameLineEdit"}));
    QCOMPARE(QString(form.formLayoutWidget->metaObject()->className()), QString("QWidget"));
}

void TestDetails::formGeometry()
{
    EditTracker dialog;
    QCOMPARE(dialog.objectName(), QString("EditTracker"));
    QCOMPARE(dialog.size(), QSize(439, 333));
    QCOMPARE(childOf<QDialogButtonBox>(&dialog, "buttonBox")->geometry(), QRect(210, 290, 221, 41));
    QCOMPARE(childOf<QWidget>(&dialog, "formLayoutWidget")->geometry(), QRect(10, 10, 411, 281));
}

void TestDetails::formLayout()
{
    EditTracker dialog;
    auto *pLayout = childOf<QFormLayout>(&dialog, "formLayout");
    QCOMPARE(childOf<QWidget>(&dialog, "formLayoutWidget")->layout(),
             static_cast<QLayout *>(pLayout));
    QCOMPARE(pLayout->contentsMargins(), QMargins(0, 0, 0, 0));
    QCOMPARE(pLayout->rowCount(), 1);
    QCOMPARE(pLayout->itemAt(0, QFormLayout::LabelRole)->widget(),
             childOf<QLabel>(&dialog, "trackerNameLabel"));
    QCOMPARE(pLayout->itemAt(0, QFormLayout::FieldRole)->widget(),
             childOf<QLineEdit>(&dialog, "trackerNameLineEdit"));
    QVERIFY(!pLayout->itemAt(0, QFormLayout::SpanningRole));
}

void TestDetails::formTexts()
{
    EditTracker dialog;
    QCOMPARE(dialog.windowTitle(), QString("Dialog"));
    QCOMPARE(childOf<QLabel>(&dialog, "trackerNameLabel")->text(), QString("Tracker Name"));
    QCOMPARE(childOf<QLineEdit>(&dialog, "trackerNameLineEdit")->text(), QString());
}

void TestDetails::formButtons()
{
    EditTracker dialog;
    auto *pBox = childOf<QDialogButtonBox>(&dialog, "buttonBox");
    QCOMPARE(pBox->orientation(), Qt::Horizontal);
    QCOMPARE(pBox->standardButtons(), QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QCOMPARE(pBox->buttons().size(), 2);
    QSignalSpy finished(&dialog, SIGNAL(finished(int)));
    dialog.show();
    pBox->button(QDialogButtonBox::Ok)->click();
    dialog.show();
    pBox->button(QDialogButtonBox::Cancel)->click();
    QCOMPARE(finished.size(), 2);
    QCOMPARE(finished.at(0).first(), QVariant(int(QDialog::Accepted)));
    QCOMPARE(finished.at(1).first(), QVariant(int(QDialog::Rejected)));
}

void TestDetails::formKeepsAName()
{
    QDialog dialog;
    dialog.setObjectName("named before");
    Ui::EditTracker form;
    form.setupUi(&dialog);
    QCOMPARE(dialog.objectName(), QString("named before"));
}

void TestDetails::formConnectsByName()
{
    NamedSlots dialog;
    Ui::EditTracker form;
    form.setupUi(&dialog);
    form.trackerNameLineEdit->setText("Fox");
    QCOMPARE(dialog.m_iEdits, 1);
}

void TestDetails::formIsTranslated()
{
    const MarkingTranslator translator;
    EditTracker dialog;
    const QStringList texts{"EditTracker<Dialog>", "EditTracker<Tracker Name>"};
    QCOMPARE(translator.answers("EditTracker"), texts);
    QCOMPARE(dialog.windowTitle(), texts.first());
    QCOMPARE(childOf<QLabel>(&dialog, "trackerNameLabel")->text(), texts.last());
}

void TestDetails::dialogAddsNothing()
{
    const QMetaObject &type = EditTracker::staticMetaObject;
    QCOMPARE(type.superClass(), &QDialog::staticMetaObject);
    QCOMPARE(type.methodCount(), type.methodOffset());
    QCOMPARE(type.propertyCount(), type.propertyOffset());

    QWidget parent;
    const auto *pDialog = new EditTracker(&parent); // the parent's to delete
    const auto *pPlain = new QDialog(&parent);
    QCOMPARE(pDialog->parentWidget(), &parent);
    QCOMPARE(pDialog->windowFlags(), pPlain->windowFlags());
    QVERIFY(!pDialog->isModal()); // running it is what makes it so
}

void TestDetails::dialogNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << "Fox";
    QTest::newRow("empty") << "";
    QTest::newRow("blanks around") << " Fox ";
    QTest::newRow("markup") << "<b>Fox</b>";
    QTest::newRow("non-ASCII") << QString::fromUtf8("Ørn 🛰");
}

void TestDetails::dialogNames()
{
    QFETCH(QString, name);
    EditTracker dialog;
    dialog.setName("before");
    dialog.setName(name);
    QCOMPARE(childOf<QLineEdit>(&dialog, "trackerNameLineEdit")->text(), name);
    QCOMPARE(dialog.getName(), name);
    childOf<QLineEdit>(&dialog, "trackerNameLineEdit")->setText("typed");
    QCOMPARE(dialog.getName(), QString("typed"));
}

void TestDetails::lookUpBytes()
{
    fill(Trackers);
    doubleClick(cell(0));
    QTRY_COMPARE(targets().size(), 1);
    QCOMPARE(onlyRequest(InfoPath),
             expectedGet(target("fx=getInfo&groupId=12%20-%20Club%20A&SN=1000001")));
}

void TestDetails::lookUpFromEveryCell_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("column");
    QTest::addColumn<QByteArray>("serialNumber");
    QTest::newRow("serial number") << 0 << 0 << QByteArray("1000001");
    QTest::newRow("name") << 0 << 1 << QByteArray("1000001");
    QTest::newRow("last column") << 1 << 4 << QByteArray("1000002");
    QTest::newRow("disabled") << 1 << 0 << QByteArray("1000002");
}

void TestDetails::lookUpFromEveryCell()
{
    QFETCH(int, row);
    QFETCH(int, column);
    QFETCH(QByteArray, serialNumber);
    fill(Trackers);
    doubleClick(cell(row, column));
    QTRY_COMPARE(targets(), QList<QByteArray>() << target(
                                "fx=getInfo&groupId=12%20-%20Club%20A&SN=" + serialNumber));
}

void TestDetails::lookUpOfAnEditedNumber()
{
    fill(Trackers);
    model()->item(0)->setText("a b&c+%41#");
    doubleClick(cell(0, 1));
    QTRY_COMPARE(targets(), QList<QByteArray>() << target(
                                "fx=getInfo&groupId=12%20-%20Club%20A&SN=a%20b%26c+A%23"));
}

void TestDetails::groupTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("item");
    QTest::newRow("the whole text, not the id")
        << "12 - Club A" << QByteArray("=12%20-%20Club%20A");
    QTest::newRow("delimiters") << "1 - A&B=C" << QByteArray("=1%20-%20A%26B%3DC");
    QTest::newRow("plus and hash") << "1 - +#" << QByteArray("=1%20-%20+%23");
    QTest::newRow("non-ASCII") << QString::fromUtf8("1 - é") << QByteArray("=1%20-%20%C3%A9");
    QTest::newRow("nameless") << " - " << QByteArray("=%20-%20");
    // A null text makes a key without an equals sign; a form decoder reads both the same.
    QTest::newRow("no group") << QString() << QByteArray();
}

void TestDetails::groupTexts()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, item);
    fill(Trackers);
    combo()->blockSignals(true); // the table stays
    combo()->clear();
    if (!text.isNull())
        combo()->addItem(text, "12");
    combo()->blockSignals(false);
    doubleClick(cell(0));
    QTRY_COMPARE(targets(), QList<QByteArray>()
                                << target("fx=getInfo&groupId" + item + "&SN=1000001"));
    editAndAccept(Fox);
    QTRY_COMPARE(targets().size(), 2);
    QCOMPARE(targets().value(1), target("fx=saveInfo&groupId" + item + "&SN=77&name=Fox"));
}

void TestDetails::mouseDoubleClicks_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("column");
    QTest::addColumn<int>("requests");
    QTest::newRow("serial number") << 0 << 0 << 1;
    QTest::newRow("name, which opens its editor as well") << 0 << 1 << 1;
    QTest::newRow("disabled") << 1 << 0 << 1;
    QTest::newRow("below the last row") << -1 << 0 << 0;
}

void TestDetails::mouseDoubleClicks()
{
    QFETCH(int, row);
    QFETCH(int, column);
    QFETCH(int, requests);
    fill(Trackers);
    window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(window()));
    const QRect shown = view()->visualRect(cell(row, column));
    const QPoint place = row < 0 ? QPoint(20, view()->viewport()->height() - 2)
                                 : QPoint(shown.left() + 60, shown.center().y());
    QTest::mouseClick(view()->viewport(), Qt::LeftButton, Qt::NoModifier, place);
    QTest::mouseDClick(view()->viewport(), Qt::LeftButton, Qt::NoModifier, place);
    QCOMPARE(replies(), requests);
}

void TestDetails::periodsAreTraced()
{
    fill(Trackers);
    doubleClick(model()->index(0, 0, cell(1)));
    QCOMPARE(infoLog(), QStringList({"\"1000002\"", "\"a -> b\"", "1", "1234"}));
    clearInfoLog();
    doubleClick(model()->index(1, 0, cell(1)));
    QCOMPARE(infoLog(), QStringList({"\"1000002\"", "\" -> \"", "0", "8"}));
    QCOMPARE(replies(), 0);
    QCOMPARE(server()->requests().size(), 1);
}

void TestDetails::invalidIndex()
{
    fill(Trackers);
    QVERIFY(QMetaObject::invokeMethod(window(), "onTrackerDoubleClick",
                                      Q_ARG(QModelIndex, QModelIndex())));
    QCOMPARE(replies(), 0);
    QCOMPARE(infoLog(), QStringList());
}

void TestDetails::lookUpLog()
{
    fill(Trackers);
    doubleClick(cell(1, 3));
    QCOMPARE(infoLog(), QStringList(R"(get info for  "1000002" "12 - Club A")"));
}

void TestDetails::everyDoubleClickAsksAgain()
{
    fill(Trackers);
    doubleClick(cell(0));
    doubleClick(cell(0));
    QTRY_COMPARE(targets().size(), 2);
    QCOMPARE(targets().value(0), targets().value(1));
    editAndAccept(Fox);
    doubleClick(cell(0));
    QTRY_COMPARE(targets().size(), 4);
}

void TestDetails::dialogAsShown()
{
    lookUp();
    bool bModal = false;
    edit(ScriptedServer::reply(Fox), [&](EditTracker *pDialog) {
        bModal = pDialog->isModal();
        QVERIFY(pDialog->isVisible());
        QCOMPARE(pDialog->windowTitle(), QString("Dialog"));
        QCOMPARE(pDialog->parentWidget(), window());
        QCOMPARE(pDialog->getName(), QString("Fox"));
        pDialog->reject();
    });
    QVERIFY(bModal);
}

void TestDetails::detailLog_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("trace");
    QTest::newRow("whole") << QByteArray(Fox) << R"("Fox" : "1000001")";
    QTest::newRow("no deviceSN") << QByteArray(R"({"name":"Fox","SN":"77"})") << R"("Fox" : "")";
    QTest::newRow("no name") << QByteArray(R"({"deviceSN":"1"})") << R"("" : "1")";
    QTest::newRow("numbers") << QByteArray(R"({"name":1,"deviceSN":2})") << R"("" : "")";
    QTest::newRow("broken") << QByteArray("oops") << R"("" : "")";
}

void TestDetails::detailLog()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, trace);
    lookUp();
    QStringList lines;
    edit(ScriptedServer::reply(reply), [&](EditTracker *pDialog) {
        lines = infoLog(); // all of it comes before the dialog
        clearInfoLog();
        pDialog->reject();
    });
    QString strBody;
    QDebug(&strBody).nospace() << reply;
    QCOMPARE(lines.mid(lines.size() - 2), QStringList({strBody, trace}));
    QCOMPARE(infoLog(), QStringList());
}

void TestDetails::endings_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("button");
    QTest::addColumn<bool>("saved");
    QTest::newRow("OK, name unchanged") << 0 << int(QDialogButtonBox::Ok) << true;
    QTest::newRow("Cancel") << 0 << int(QDialogButtonBox::Cancel) << false;
    QTest::newRow("Return") << int(Qt::Key_Return) << 0 << true;
    QTest::newRow("Enter") << int(Qt::Key_Enter) << 0 << true;
    QTest::newRow("Escape") << int(Qt::Key_Escape) << 0 << false;
    QTest::newRow("closed") << 0 << 0 << false;
}

void TestDetails::endings()
{
    QFETCH(int, key);
    QFETCH(int, button);
    QFETCH(bool, saved);
    lookUp();
    QPointer<EditTracker> pSeen;
    edit(ScriptedServer::reply(Fox), [&](EditTracker *pDialog) {
        pSeen = pDialog;
        auto *pBox = childOf<QDialogButtonBox>(pDialog, "buttonBox");
        if (button)
            pBox->button(QDialogButtonBox::StandardButton(button))->click();
        else if (key)
            QTest::keyClick(childOf<QLineEdit>(pDialog, "trackerNameLineEdit"), Qt::Key(key));
        else
            pDialog->close();
    });
    QVERIFY(!pSeen); // deleted in every case
    QCOMPARE(replies(), saved ? 2 : 1);
    QCOMPARE(window()->findChildren<QDialog *>().size(), 0);
}

void TestDetails::saveBytes()
{
    lookUp();
    editAndAccept(Fox, "Red Fox");
    QTRY_COMPARE(targets().size(), 2);
    const ScriptedServer::Request request = server()->requestsTo(InfoPath).value(1);
    QCOMPARE(request.head + request.body,
             expectedGet(target("fx=saveInfo&groupId=12%20-%20Club%20A&SN=77&name=Red%20Fox")));
}

void TestDetails::saveItems_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("name"); // null: as it is
    QTest::addColumn<QByteArray>("items");
    QTest::newRow("name of the reply")
        << QByteArray(Fox) << QString() << QByteArray("&SN=77&name=Fox");
    QTest::newRow("emptied name") << QByteArray(Fox) << "" << QByteArray("&SN=77&name=");
    QTest::newRow("delimiters") << QByteArray(Fox) << "a&b=c#d+e"
                                << QByteArray("&SN=77&name=a%26b%3Dc%23d+e");
    QTest::newRow("quotes and blanks")
        << QByteArray(Fox) << " \"a\" " << QByteArray("&SN=77&name=%20%22a%22%20");
    QTest::newRow("percent sign") << QByteArray(Fox) << "50%" << QByteArray("&SN=77&name=50%25");
    QTest::newRow("percent sequence is decoded")
        << QByteArray(Fox) << "%41" << QByteArray("&SN=77&name=A");
    QTest::newRow("non-ASCII") << QByteArray(Fox) << QString::fromUtf8("Ørn")
                               << QByteArray("&SN=77&name=%C3%98rn");
    QTest::newRow("odd SN is echoed")
        << QByteArray(R"({"SN":" a&b "})") << "x" << QByteArray("&SN=%20a%26b%20&name=x");
    QTest::newRow("empty SN") << QByteArray(R"({"SN":""})") << "x" << QByteArray("&SN=&name=x");
    // A null text makes a key without an equals sign; a form decoder reads both the same.
    QTest::newRow("only deviceSN") << QByteArray(R"({"name":"Fox","deviceSN":"1000001"})")
                                   << QString() << QByteArray("&SN&name=Fox");
    QTest::newRow("SN is a number")
        << QByteArray(R"({"SN":77})") << "x" << QByteArray("&SN&name=x");
    QTest::newRow("SN is null") << QByteArray(R"({"SN":null})") << "x" << QByteArray("&SN&name=x");
}

void TestDetails::saveItems()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, name);
    QFETCH(QByteArray, items);
    lookUp();
    editAndAccept(reply, name);
    QTRY_COMPARE(targets().size(), 2);
    QCOMPARE(targets().value(1), target("fx=saveInfo&groupId=12%20-%20Club%20A" + items));
}

void TestDetails::brokenReplies_data()
{
    QTest::addColumn<ScriptedServer::Behaviour>("reply");
    using Server = ScriptedServer;
    QTest::newRow("empty") << Server::reply("");
    QTest::newRow("not JSON") << Server::reply("<html>");
    QTest::newRow("an array") << Server::reply("[" + QByteArray(Fox) + "]");
    QTest::newRow("error page") << Server::reply("oops", "500 Oh");
    QTest::newRow("cut body") << Server::sendAndClose(
        "HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n{\"name\":");
}

void TestDetails::brokenReplies()
{
    QFETCH(ScriptedServer::Behaviour, reply);
    lookUp();
    BoxAnswers answers({});
    edit(reply, [](EditTracker *pDialog) {
        QCOMPARE(pDialog->getName(), QString());
        childOf<QLineEdit>(pDialog, "trackerNameLineEdit")->setText("typed");
        pDialog->accept();
    });
    QTRY_COMPARE(targets().size(), 2);
    QCOMPARE(targets().value(1), target("fx=saveInfo&groupId=12%20-%20Club%20A&SN&name=typed"));
    QCOMPARE(answers.seen().size(), 0);
}

void TestDetails::refusedSessionIsIgnored()
{
    lookUp();
    editAndAccept(R"({"rcode":-99,"name":"Fox","SN":"77"})");
    QTRY_COMPARE(targets().size(), 2);
    QVERIFY(view()->isEnabled());
    QCOMPARE(model()->rowCount(), 2);
}

void TestDetails::groupOfTheMomentOfSaving()
{
    lookUp();
    edit(ScriptedServer::reply(Fox), [&](EditTracker *pDialog) {
        combo()->setCurrentIndex(1);
        pDialog->accept();
    });
    QTRY_COMPARE(targets().size(), 2);
    QCOMPARE(targets().value(1), target("fx=saveInfo&groupId=40%20-%20Club%20B&SN=77&name=Fox"));
}

void TestDetails::progressIsDrivenNotShown()
{
    fill(Trackers);
    doubleClick(cell(0));
    QVERIFY(bar()->isHidden());
    bar()->reset();
    editAndAccept(Fox);
    QVERIFY(infoLog().contains(QString("%1 : %1").arg(FoxSize)));
    QCOMPARE(bar()->maximum(), FoxSize);
    QCOMPARE(bar()->value(), FoxSize);
    QVERIFY(bar()->isHidden());

    serve(InfoPath, "saved");
    QTRY_VERIFY(infoLog().contains("\"saved\""));
    QVERIFY(infoLog().contains("5 : 5"));
    QCOMPARE(bar()->maximum(), 5);
    QVERIFY(bar()->isHidden());
    // And not hidden either, where another request shows it.
    bar()->show();
    doubleClick(cell(0));
    editAndAccept(Fox);
    serve(InfoPath, "saved again");
    QTRY_VERIFY(infoLog().contains("\"saved again\""));
    QVERIFY(!bar()->isHidden());
}

void TestDetails::savedReplyIsOnlyLogged_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("line");
    QTest::newRow("accepted") << QByteArray("200 OK") << QByteArray("{}") << "\"{}\"";
    QTest::newRow("refused session")
        << QByteArray("200 OK") << QByteArray(R"({"rcode":-99})") << R"("{\"rcode\":-99}")";
    QTest::newRow("error page") << QByteArray("500 Oh") << QByteArray("oops") << "\"oops\"";
}

void TestDetails::savedReplyIsOnlyLogged()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, body);
    QFETCH(QString, line);
    lookUp();
    editAndAccept(Fox, "Red Fox");
    clearInfoLog();
    BoxAnswers answers({});
    serve(InfoPath, ScriptedServer::reply(body, status));
    QTRY_COMPARE(infoLog().value(infoLog().size() - 1), line);
    QCOMPARE(logOfWholeReplies().size(), 2); // the progress before it
    QCOMPARE(answers.seen().size(), 0);
    QVERIFY(view()->isEnabled());
    QCOMPARE(model()->rowCount(), 2);
    QCOMPARE(cell(0, 1).data().toString(), QString("Fox"));
    QCOMPARE(replies(), 2); // both stay, and there is none for a reload
    QCOMPARE(server()->requests().size(), 3);
}

void TestDetails::savedNameShowsAfterReload()
{
    lookUp();
    editAndAccept(Fox, "Red Fox");
    serve(InfoPath, "{}");
    QTRY_COMPARE(infoLog().value(infoLog().size() - 1), QString("\"{}\""));
    QCOMPARE(cell(0, 1).data().toString(), QString("Fox"));
    fill(R"({"deviceSn":"1000001","TrackerName":"Red Fox"})");
    QCOMPARE(cell(0, 1).data().toString(), QString("Red Fox"));
}

void TestDetails::repliesStay()
{
    fill(Trackers);
    for (int i = 1; i <= 2; ++i) {
        doubleClick(cell(0));
        edit(ScriptedServer::reply(Fox), [](EditTracker *pDialog) { pDialog->reject(); });
        QCOMPARE(replies(), i);
    }
    for (int i = 1; i <= 2; ++i) {
        doubleClick(cell(1));
        editAndAccept(Fox);
        serve(InfoPath, "saved");
        QTRY_COMPARE(infoLog().count("\"saved\""), i);
        QCOMPARE(replies(), 2 + 2 * i);
    }
    fill(Trackers); // a rebuild leaves them alone
    QCOMPARE(replies(), 6);
    QList<QPointer<QNetworkReply>> replies;
    const QList<QNetworkReply *> found =
        window()->findChild<QNetworkAccessManager *>()->findChildren<QNetworkReply *>();
    for (QNetworkReply *pReply : found)
        replies << pReply;
    destroyWindow();
    for (const QPointer<QNetworkReply> &pReply : qAsConst(replies))
        QVERIFY(!pReply);
}

VELTRANO_TEST_MAIN(TestDetails)
#include "tst_details.moc"
