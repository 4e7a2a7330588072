// Scheduling activations: the question, the request's bytes, what follows every reply, the rule of
// the days under the operator's keys.

#include "markingtranslator.h"
#include "servedtest.h"

#include <QCalendarWidget>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>

namespace {
constexpr const char *ActivatePath = "/activateTrackers.php";
const char *const FourTrackers = R"({"deviceSn":"1000001","state":"A"},{"deviceSn":"1000002"},)"
                                 R"({"deviceSn":"1000003","state":null},{"deviceSn":"1000004",)"
                                 R"("activations":[{"id":"9","done":"0"}]})";

QDate start()
{
    return {2024, 3, 1};
}

/// One tracker of the posted array, as the query's text has it.
QByteArray postedTracker(const QByteArray &baSerialNumber, const QByteArray &baStart = "2024-03-01",
                         const QByteArray &baDays = "14")
{
    return "    %7B%0A        %22days%22: %22" + baDays + "%22,%0A        %22deviceSn%22: %22" +
           baSerialNumber + "%22,%0A        %22start%22: %22" + baStart + "%22%0A    %7D";
}

QByteArray postedBody(const QByteArray &baTrackers)
{
    return "posted=[%0A" + baTrackers + "%0A]%0A";
}

/// Records when a widget is told to show or hide itself, and what else the test puts in between.
class ShowWatch : public QObject
{
public:
    explicit ShowWatch(QWidget *pWidget) : QObject(pWidget) { pWidget->installEventFilter(this); }

    QStringList m_seen;

protected:
    bool eventFilter(QObject *pWatched, QEvent *pEvent) override
    {
        if (pEvent->type() == QEvent::ShowToParent)
            m_seen << "shown";
        if (pEvent->type() == QEvent::HideToParent)
            m_seen << "hidden";
        return QObject::eventFilter(pWatched, pEvent);
    }
};
} // namespace

class TestActivation : public ServedTest
{
    Q_OBJECT

private slots:
    void question();
    void questionOfOne();
    void questionIsTranslated();
    void returnKeyMeansYes();
    void nothingTicked_data();
    void nothingTicked();
    void refusals_data();
    void refusals();
    void closedBox();

    void requestBytes();
    void postedTrackers_data();
    void postedTrackers();
    void longForms_data();
    void longForms();
    void daysAreTheShownText();
    void argumentIsNotUsed_data();
    void argumentIsNotUsed();
    void everythingIsReadAgainAfterTheBox();
    void startInSystemDigits();
    void startInSystemDigits_other_data();
    void startInSystemDigits_other();

    void log();
    void progress();
    void anyReplyReloads_data();
    void anyReplyReloads();
    void reloadAsksForTheCurrentGroup();
    void noGroupNoReload();
    void tableIsRebuilt();
    void secondRequestIsIndependent();
    void arrivesAtMostOnce_data();
    void arrivesAtMostOnce();

    void typedDays_data();
    void typedDays();
    void arrowKeys();
    void daysWithoutKeys_data();
    void daysWithoutKeys();
    void daySlots_data();
    void daySlots();

private:
    QSpinBox *days() const { return widget<QSpinBox>("weeksSpinBox"); }
    void prepare();
    void schedule();
    void showSpinBox();
};

/// Rows 0 and 2 of four are ticked, for 14 days.
void TestActivation::prepare()
{
    fill(FourTrackers);
    tick({2, 0});
    widget<QCalendarWidget>("calendarWidget")->setSelectedDate(start());
    days()->setValue(14);
}

/// Presses the button and answers Yes.
void TestActivation::schedule()
{
    BoxAnswers answers({QMessageBox::Yes});
    click("activateButton");
    QCOMPARE(answers.seen().size(), 1);
}

void TestActivation::question()
{
    prepare();
    BoxAnswers answers({QMessageBox::No});
    click("activateButton");
    QCOMPARE(answers.seen(), QList<SeenBox>{questionBox(
                                 "You are about to activate 2 trackers.\n Starting 2024-03-01 and "
                                 "during 14 days. Are you sure?")});
}

void TestActivation::questionOfOne()
{
    fill(R"({"deviceSn":"1","state":null})");
    tick({0});
    widget<QCalendarWidget>("calendarWidget")->setSelectedDate(QDate(2030, 12, 31));
    BoxAnswers answers({QMessageBox::No});
    click("activateButton");
    QCOMPARE(answers.seen(), QList<SeenBox>{questionBox(
                                 "You are about to activate 1 trackers.\n Starting 2030-12-31 and "
                                 "during 7 days. Are you sure?")});
}

void TestActivation::questionIsTranslated()
{
    prepare();
    const MarkingTranslator translator;
    BoxAnswers answers({QMessageBox::No});
    click("activateButton");
    QCOMPARE(answers.seen().size(), 1);
    QCOMPARE(answers.seen().first().title, QString("MainWindow<Activate ?>"));
    QCOMPARE(
        answers.seen().first().text,
        QString(
            "MainWindow<You are about to activate 2 trackers.\n Starting 2024-03-01 and during 14 "
            "days. Are you sure?>"));
}

void TestActivation::returnKeyMeansYes()
{
    prepare();
    // No default button is named; the framework then takes the first one.
    const WhileOpen visit([](QWidget *pBox) {
        pBox->activateWindow();
        QTest::keyClick(pBox, Qt::Key_Return);
    });
    click("activateButton");
    QVERIFY(visit.hasActed());
    QCOMPARE(replies(), 1);
}

void TestActivation::nothingTicked_data()
{
    QTest::addColumn<bool>("filled");
    QTest::addColumn<QByteArray>("trackers");
    QTest::addColumn<int>("state");
    QTest::newRow("nothing loaded yet") << false << QByteArray() << 0;
    QTest::newRow("empty group") << true << QByteArray() << 0;
    QTest::newRow("none ticked") << true << QByteArray(FourTrackers) << 0;
    QTest::newRow("half ticked") << true << QByteArray(FourTrackers) << 1;
}

void TestActivation::nothingTicked()
{
    QFETCH(bool, filled);
    QFETCH(QByteArray, trackers);
    QFETCH(int, state);
    if (filled)
        fill(trackers);
    for (int iRow = 0; iRow < model()->rowCount(); ++iRow)
        model()->item(iRow)->setData(state, Qt::CheckStateRole);
    if (model()->rowCount() == 4) // neither a period nor another column counts
        model()->item(3)->child(0)->setCheckState(Qt::Checked);
    BoxAnswers answers({QMessageBox::Yes});
    click("activateButton");
    QCOMPARE(answers.seen().size(), 0);
    QCOMPARE(replies(), 0);
    QCOMPARE(infoLog(), QStringList());
    QVERIFY(bar()->isHidden());
}

void TestActivation::refusals_data()
{
    QTest::addColumn<QMessageBox::StandardButton>("button");
    QTest::newRow("No") << QMessageBox::No;
    QTest::newRow("Escape") << QMessageBox::NoButton;
}

void TestActivation::refusals()
{
    QFETCH(QMessageBox::StandardButton, button);
    prepare();
    BoxAnswers answers({button});
    click("activateButton");
    QCOMPARE(answers.seen().size(), 1);
    QCOMPARE(replies(), 0);
    QCOMPARE(server()->requests().size(), 1);
    QCOMPARE(infoLog(), QStringList());
    QVERIFY(bar()->isHidden());
    QCOMPARE(model()->item(0)->checkState(), Qt::Checked);
}

void TestActivation::closedBox()
{
    prepare();
    const WhileOpen visit([](QWidget *pBox) { pBox->close(); });
    click("activateButton");
    QVERIFY(visit.hasActed());
    QCOMPARE(replies(), 0);
    QCOMPARE(infoLog(), QStringList());
}

void TestActivation::requestBytes()
{
    prepare();
    schedule();
    QTRY_COMPARE(server()->requestsTo(ActivatePath).size(), 1);
    QCOMPARE(onlyRequest(ActivatePath),
             expectedPost(ActivatePath, "posted=[%0A"
                                        "    %7B%0A"
                                        "        %22days%22: %2214%22,%0A"
                                        "        %22deviceSn%22: %221000001%22,%0A"
                                        "        %22start%22: %222024-03-01%22%0A"
                                        "    %7D,%0A"
                                        "    %7B%0A"
                                        "        %22days%22: %2214%22,%0A"
                                        "        %22deviceSn%22: %221000003%22,%0A"
                                        "        %22start%22: %222024-03-01%22%0A"
                                        "    %7D%0A"
                                        "]%0A"));
}

void TestActivation::postedTrackers_data()
{
    QTest::addColumn<QString>("serialNumber");
    QTest::addColumn<QByteArray>("posted");
    QTest::newRow("empty") << "" << QByteArray();
    QTest::newRow("blanks") << " 1 " << QByteArray(" 1 ");
    QTest::newRow("delimiters of the form") << "a&b=c" << QByteArray("a%26b%3Dc");
    QTest::newRow("plus and hash") << "+#" << QByteArray("+#");
    QTest::newRow("marks of JSON") << "\"\\/" << QByteArray("%5C%22%5C%5C/");
    QTest::newRow("line feed") << "a\nb" << QByteArray("a%5Cnb");
    QTest::newRow("percent sign") << "50%" << QByteArray("50%25");
    // The framework decodes what looks like a percent-encoded character.
    QTest::newRow("percent sequence") << "%41" << QByteArray("A");
    QTest::newRow("non-ASCII") << QString::fromUtf8("é🛰") << QByteArray("é🛰");
}

void TestActivation::postedTrackers()
{
    QFETCH(QString, serialNumber);
    QFETCH(QByteArray, posted);
    prepare();
    model()->item(0)->setCheckState(Qt::Unchecked);
    model()->item(2)->setText(serialNumber);
    schedule();
    QTRY_COMPARE(server()->requestsTo(ActivatePath).size(), 1);
    QCOMPARE(server()->requestsTo(ActivatePath).value(0).body, postedBody(postedTracker(posted)));
}

void TestActivation::longForms_data()
{
    QTest::addColumn<int>("size");
    // The framework takes a form in pieces of 16,384 bytes.
    QTest::newRow("a piece and a byte") << 16385;
    QTest::newRow("two pieces and a byte") << 32769;
    QTest::newRow("10,000 trackers") << 1090000;
}

void TestActivation::longForms()
{
    QFETCH(int, size);
    prepare();
    model()->removeRows(0, model()->rowCount());
    // As many trackers as fit; the last one's number is as long as is needed for the size.
    const int iTracker = postedTracker("1000000").size() + QByteArray(",%0A").size();
    const int iCount = (size - postedBody({}).size() + QByteArray(",%0A").size()) / iTracker;
    QList<QByteArray> numbers;
    for (int i = 0; i < iCount; ++i)
        numbers << QByteArray::number(1000000 + i);
    const auto expected = [&numbers] {
        QByteArrayList trackers;
        for (const QByteArray &number : qAsConst(numbers))
            trackers << postedTracker(number);
        return postedBody(trackers.join(",%0A"));
    };
    numbers.last() += QByteArray(size - expected().size(), '9');
    QCOMPARE(expected().size(), size);
    for (const QByteArray &number : qAsConst(numbers)) {
        auto *pItem = new QStandardItem(QString(number));
        pItem->setCheckState(Qt::Checked);
        model()->appendRow(pItem);
    }
    schedule();
    QTRY_COMPARE(server()->requestsTo(ActivatePath).size(), 1);
    QVERIFY(server()->requestsTo(ActivatePath).first().body == expected());
    serve(ActivatePath, "{}");
    QTRY_COMPARE(server()->requestsTo(TrackersPath).size(), 2);
    QCOMPARE(server()->requestsTo(ActivatePath).size(), 1);
}

void TestActivation::daysAreTheShownText()
{
    prepare();
    days()->setSuffix(" d");
    BoxAnswers answers({QMessageBox::Yes});
    click("activateButton");
    QVERIFY(answers.seen().value(0).text.endsWith("during 0 days. Are you sure?"));
    QTRY_COMPARE(server()->requestsTo(ActivatePath).size(), 1);
    QCOMPARE(server()->requestsTo(ActivatePath).value(0).body,
             postedBody(postedTracker("1000001", "2024-03-01", "14 d") + ",%0A" +
                        postedTracker("1000003", "2024-03-01", "14 d")));
}

void TestActivation::argumentIsNotUsed_data()
{
    QTest::addColumn<bool>("argument");
    QTest::newRow("true") << true;
    QTest::newRow("false") << false;
}

void TestActivation::argumentIsNotUsed()
{
    QFETCH(bool, argument);
    prepare();
    BoxAnswers answers({QMessageBox::Yes});
    QVERIFY(QMetaObject::invokeMethod(window(), "onActivateButton", Q_ARG(bool, argument)));
    QTRY_COMPARE(server()->requestsTo(ActivatePath).size(), 1);
}

void TestActivation::everythingIsReadAgainAfterTheBox()
{
    prepare();
    BoxAnswers answers({QMessageBox::Yes});
    answers.whileOpen([&] {
        model()->item(0)->setCheckState(Qt::Unchecked);
        model()->item(3)->setCheckState(Qt::Checked);
        model()->item(3)->setText("1000009");
        widget<QCalendarWidget>("calendarWidget")->setSelectedDate(QDate(2025, 1, 2));
        days()->setValue(30);
    });
    click("activateButton");
    QCOMPARE(answers.seen().size(), 1);
    QVERIFY(answers.seen().first().text.contains("2024-03-01 and during 14 days"));
    QTRY_COMPARE(server()->requestsTo(ActivatePath).size(), 1);
    QCOMPARE(server()->requestsTo(ActivatePath).value(0).body,
             postedBody(postedTracker("1000003", "2025-01-02", "30") + ",%0A" +
                        postedTracker("1000009", "2025-01-02", "30")));
}

void TestActivation::startInSystemDigits()
{
    // Both set by a run of this process under another locale.
    const QString strCareless = qEnvironmentVariable("CARELESS_DATE", "2024-03-01");
    const QString strDays = qEnvironmentVariable("SHOWN_DAYS", "14");
    QCOMPARE(QLocale::system().toString(start(), "yyyy-MM-dd"), strCareless);

    prepare();
    BoxAnswers answers({QMessageBox::Yes});
    click("activateButton");
    QCOMPARE(answers.seen().size(), 1);
    QVERIFY(answers.seen().first().text.contains("\n Starting 2024-03-01 and during "));
    QTRY_COMPARE(server()->requestsTo(ActivatePath).size(), 1);
    // The days go as the box shows them, in whatever digits.
    QCOMPARE(days()->text(), strDays);
    QCOMPARE(server()->requestsTo(ActivatePath).value(0).body,
             postedBody(postedTracker("1000001", "2024-03-01", strDays.toUtf8()) + ",%0A" +
                        postedTracker("1000003", "2024-03-01", strDays.toUtf8())));
}

void TestActivation::startInSystemDigits_other_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("careless");
    QTest::addColumn<QString>("days");
    QTest::newRow("Arabic") << "ar_EG.UTF-8" << QString::fromUtf8("٢٠٢٤-٠٣-٠١")
                            << QString::fromUtf8("١٤");
    QTest::newRow("Persian") << "fa_IR.UTF-8" << QString::fromUtf8("۲۰۲۴-۰۳-۰۱")
                             << QString::fromUtf8("۱۴");
    QTest::newRow("Marathi") << "mr_IN.UTF-8" << QString::fromUtf8("२०२४-०३-०१")
                             << QString::fromUtf8("१४");
}

void TestActivation::startInSystemDigits_other()
{
    QFETCH(QString, locale);
    QFETCH(QString, careless);
    QFETCH(QString, days);
    QCOMPARE(failureUnderLocale("startInSystemDigits", locale,
                                {{"CARELESS_DATE", careless}, {"SHOWN_DAYS", days}}),
             QString());
}

void TestActivation::log()
{
    fill(R"({"deviceSn":"1"})");
    tick({0});
    widget<QCalendarWidget>("calendarWidget")->setSelectedDate(start());
    schedule();
    // The indented text, once, before the request.
    const QByteArray baJson = "[\n    {\n        \"days\": \"7\",\n"
                              "        \"deviceSn\": \"1\",\n"
                              "        \"start\": \"2024-03-01\"\n    }\n]\n";
    QString strQuoted;
    QDebug(&strQuoted).nospace() << baJson;
    QCOMPARE(infoLog(), QStringList(strQuoted));
    clearInfoLog();
    serve(ActivatePath, R"({"rcode":0})");
    QTRY_COMPARE(server()->requestsTo(TrackersPath).size(), 2);
    const QStringList lines = infoLog();
    const QStringList expected{"Done", R"("{\"rcode\":0}")"};
    QCOMPARE(lines.mid(lines.size() - 2), expected);
}

void TestActivation::progress()
{
    prepare();
    QVERIFY(bar()->isHidden());
    schedule();
    QVERIFY(!bar()->isHidden()); // before the first report
    QTRY_COMPARE(server()->requestsTo(ActivatePath).size(), 1);
    const int iSize = server()->requestsTo(ActivatePath).value(0).body.size();
    QTRY_VERIFY(infoLog().contains(QString("%1 : %1").arg(iSize)));
    QCOMPARE(bar()->maximum(), iSize);
    QCOMPARE(bar()->value(), iSize);
    // What comes back is not measured: only the end of the upload reports once more.
    clearInfoLog();
    serve(ActivatePath, QByteArray(1000, ' '));
    QTRY_COMPARE(server()->requestsTo(TrackersPath).size(), 2);
    QCOMPARE(infoLog().filter(" : "), infoLog().filter("0 : 0"));
}

void TestActivation::anyReplyReloads_data()
{
    QTest::addColumn<ScriptedServer::Behaviour>("behaviour");
    QTest::addColumn<QString>("body");
    using Server = ScriptedServer;
    QTest::newRow("accepted") << Server::reply(R"({"rcode":0})") << R"("{\"rcode\":0}")";
    QTest::newRow("refused session") << Server::reply(R"({"rcode":-99})") << R"("{\"rcode\":-99}")";
    QTest::newRow("error page") << Server::reply("oops", "500 Oh") << "\"oops\"";
    QTest::newRow("not found") << Server::reply("oops", "404 No") << "\"oops\"";
    QTest::newRow("redirect") << Server::reply("", "302 Found", "Location: /bslogin.php\r\n")
                              << "\"\"";
    QTest::newRow("empty") << Server::reply("") << "\"\"";
    QTest::newRow("raw bytes") << Server::reply(QByteArray("a\0\xff", 3)) << R"("a\x00\xFF")";
    QTest::newRow("not JSON") << Server::reply("<html>") << "\"<html>\"";
    QTest::newRow("cut body") << Server::sendAndClose(
                                     "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nab")
                              << "\"ab\"";
    QTest::newRow("closed without a byte") << Server::closeAtOnce() << "\"\"";
}

void TestActivation::anyReplyReloads()
{
    QFETCH(ScriptedServer::Behaviour, behaviour);
    QFETCH(QString, body);
    prepare();
    schedule();
    BoxAnswers answers({}); // no box says how it went
    auto *pWatch = new ShowWatch(bar());
    const auto *pReply =
        window()->findChild<QNetworkAccessManager *>()->findChild<QNetworkReply *>();
    connect(pReply, &QObject::destroyed, pWatch, [=] { pWatch->m_seen << "deleted"; });
    serve(ActivatePath, behaviour);
    QTRY_COMPARE(server()->requestsTo(TrackersPath).size(), 2);

    const QStringList lines = infoLog();
    QCOMPARE(lines.mid(lines.size() - 2), QStringList({"Done", body}));
    QCOMPARE(replies(), 1); // the reload's; the command's is gone
    QCOMPARE(pWatch->m_seen, QStringList({"deleted", "hidden", "shown"}));
    QCOMPARE(server()->requests().last().target(),
             QByteArray("/bsGetGroupTrackers.php?idgroup=12"));
    QCOMPARE(model()->rowCount(), 0);
    QCOMPARE(widget<QLabel>("numberTrackers")->text(), QString());
    QVERIFY(view()->isEnabled());
    QCOMPARE(combo()->count(), 2);
    serveTrackers(FourTrackers);
    QVERIFY(bar()->isHidden());
    QCOMPARE(answers.seen().size(), 0);
    QCOMPARE(server()->requests().size(), 3);
}

void TestActivation::reloadAsksForTheCurrentGroup()
{
    prepare();
    schedule();
    combo()->setCurrentIndex(1);
    serve(ActivatePath, "{}");
    QTRY_COMPARE(server()->requestsTo(TrackersPath).size(), 3);
    QCOMPARE(server()->requests().last().target(),
             QByteArray("/bsGetGroupTrackers.php?idgroup=40"));
}

void TestActivation::noGroupNoReload()
{
    prepare();
    schedule();
    combo()->clear();
    serve(ActivatePath, "{}");
    QTRY_VERIFY(bar()->isHidden());
    QCOMPARE(replies(), 0);
    QCOMPARE(model()->rowCount(), 4); // nothing was asked, nothing cleared
    QCOMPARE(server()->requests().size(), 2);
}

void TestActivation::tableIsRebuilt()
{
    prepare();
    schedule();
    serve(ActivatePath, "{}");
    serveTrackers(R"({"deviceSn":"1000001","activations":[{"id":"5","done":"0",)"
                  R"("startTime":"2024-03-01","endTime":"2024-03-15"}]})");
    QCOMPARE(model()->rowCount(), 1);
    QCOMPARE(model()->item(0)->checkState(), Qt::Unchecked);
    QCOMPARE(model()->item(0)->child(0)->text(), QString("2024-03-01 -> 2024-03-15"));
    QVERIFY(bar()->isHidden());
    QCOMPARE(replies(), 0);
}

void TestActivation::secondRequestIsIndependent()
{
    prepare();
    schedule();
    QVERIFY(widget<QPushButton>("activateButton")->isEnabled());
    schedule();
    QTRY_COMPARE(server()->requestsTo(ActivatePath).size(), 2);
    QCOMPARE(replies(), 2);
    // Whichever ends first hides the bar and reloads; so does the other one.
    combo()->clear();
    serve(ActivatePath, "{}");
    QTRY_VERIFY(bar()->isHidden());
    QCOMPARE(replies(), 1);
    serve(ActivatePath, "{}");
    QTRY_COMPARE(replies(), 0);
    QCOMPARE(infoLog().count("Done"), 2);
}

void TestActivation::arrivesAtMostOnce_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("closed without a byte") << QByteArray();
    QTest::newRow("half a status line") << QByteArray("HTTP/1.");
}

void TestActivation::arrivesAtMostOnce()
{
    QFETCH(QByteArray, bytes);
    prepare();
    server()->script(ActivatePath, ScriptedServer::sendAndClose(bytes));
    schedule();
    serveTrackers(FourTrackers);
    QCOMPARE(model()->rowCount(), 4);
    QCOMPARE(server()->requestsTo(ActivatePath).size(), 1);
    QCOMPARE(server()->requests().size(), 3);
}

void TestActivation::showSpinBox()
{
    window()->show();
    QVERIFY(QTest::qWaitForWindowActive(window()));
    days()->setFocus();
    days()->selectAll();
}

void TestActivation::typedDays_data()
{
    QTest::addColumn<QString>("keys");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("value");
    QTest::newRow("2 stays") << "2"
                             << "2" << 2;
    QTest::newRow("3 stays") << "3"
                             << "3" << 3;
    QTest::newRow("4 becomes a week") << "4"
                                      << "7" << 7;
    QTest::newRow("5 becomes a week") << "5"
                                      << "7" << 7;
    QTest::newRow("6 becomes a week") << "6"
                                      << "7" << 7;
    QTest::newRow("8 stays") << "8"
                             << "8" << 8;
    QTest::newRow("14") << "14"
                        << "14" << 14;
    QTest::newRow("365") << "365"
                         << "365" << 365;
    QTest::newRow("366 is too much at its last digit") << "366"
                                                       << "36" << 36;
    // The value counts from the first digit on; a first digit of the gap does not wait for more.
    QTest::newRow("50 is cut short") << "50"
                                     << "70" << 70;
    QTest::newRow("45 is cut short") << "45"
                                     << "75" << 75;
    QTest::newRow("60 is cut short") << "60"
                                     << "70" << 70;
    QTest::newRow("400 is cut short and then too much") << "400"
                                                        << "70" << 70;
}

void TestActivation::typedDays()
{
    QFETCH(QString, keys);
    QFETCH(int, value);
    showSpinBox();
    QTest::keyClicks(days(), keys);
    QTEST(days()->text(), "typed");
    QTest::keyClick(days(), Qt::Key_Return);
    QCOMPARE(days()->value(), value);
    QTEST(days()->text(), "typed");
}

void TestActivation::arrowKeys()
{
    showSpinBox();
    QTest::keyClick(days(), Qt::Key_Down);
    QCOMPARE(days()->value(), 7); // down leads to 6
    days()->setValue(3);
    QTest::keyClick(days(), Qt::Key_Up);
    QCOMPARE(days()->value(), 7);
    QTest::keyClick(days(), Qt::Key_Up);
    QCOMPARE(days()->value(), 8);
    days()->setValue(3);
    QTest::keyClick(days(), Qt::Key_Down);
    QCOMPARE(days()->value(), 2);
}

void TestActivation::daysWithoutKeys_data()
{
    QTest::addColumn<int>("set");
    QTest::addColumn<QList<int>>("reported");
    QTest::newRow("below the gap") << 3 << QList<int>{3};
    QTest::newRow("first of the gap") << 4 << QList<int>{7, 4};
    QTest::newRow("last of the gap") << 6 << QList<int>{7, 6};
    QTest::newRow("above the gap") << 8 << QList<int>{8};
    QTest::newRow("greatest") << 365 << QList<int>{365};
}

void TestActivation::daysWithoutKeys()
{
    QFETCH(int, set);
    QFETCH(QList<int>, reported);
    days()->setValue(100);
    QSignalSpy changed(days(), SIGNAL(valueChanged(int)));
    days()->setValue(set);
    QCOMPARE(days()->value(), reported.first());
    QList<int> values;
    for (const QList<QVariant> &change : qAsConst(changed))
        values << change.first().toInt();
    QCOMPARE(values, reported); // the window raises before others hear of the value
}

void TestActivation::daySlots_data()
{
    QTest::addColumn<int>("shown");
    QTest::addColumn<int>("argument");
    QTest::addColumn<int>("after");
    QTest::newRow("argument in the gap") << 100 << 5 << 7;
    QTest::newRow("argument below the gap") << 100 << 3 << 100;
    QTest::newRow("argument above the gap") << 100 << 8 << 100;
}

void TestActivation::daySlots()
{
    QFETCH(int, shown);
    QFETCH(int, argument);
    days()->setValue(shown);
    QVERIFY(
        QMetaObject::invokeMethod(window(), "on_weeksSpinBox_valueChanged", Q_ARG(int, argument)));
    QTEST(days()->value(), "after");

    // The end of editing looks at the box, which can hold such a number while its signals are off.
    days()->blockSignals(true);
    days()->setValue(argument);
    days()->blockSignals(false);
    QVERIFY(QMetaObject::invokeMethod(days(), "editingFinished"));
    QCOMPARE(days()->value(), argument == 5 ? 7 : argument);
}

VELTRANO_TEST_MAIN(TestActivation)
#include "tst_activation.moc"
