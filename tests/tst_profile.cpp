// Setting the profile of trackers: the question, the request's bytes, and how the slot tells its
// two buttons apart.

#include "markingtranslator.h"
#include "servedtest.h"

#include <QPushButton>

namespace {
constexpr const char *ExtendPath = "/extendTrackers.php";
const char *const FourTrackers = R"({"deviceSn":"1000001","state":"A"},{"deviceSn":"1000002"},)"
                                 R"({"deviceSn":"1000003","state":null},{"deviceSn":"1000004",)"
                                 R"("activations":[{"id":"9","done":"0"}]})";

QByteArray postedTracker(const QByteArray &baSerialNumber)
{
    return "    %7B%0A        %22deviceSn%22: %22" + baSerialNumber + "%22%0A    %7D";
}
} // namespace

class TestProfile : public ServedTest
{
    Q_OBJECT

private slots:
    void questions_data();
    void questions();
    void titleIsTranslated();
    void returnKeyMeansYes();
    void requestBytes_data();
    void requestBytes();
    void anySender_data();
    void anySender();
    void noSender();
    void argumentIsNotUsed_data();
    void argumentIsNotUsed();
    void senderIsReadBeforeTheBox();
    void ticksAreReadAgainAfterTheBox();

    void nothingTicked_data();
    void nothingTicked();
    void refusals_data();
    void refusals();

    void log();
    void progress();
    void everyReplyReloads_data();
    void everyReplyReloads();
    void arrivesAtMostOnce_data();
    void arrivesAtMostOnce();

private:
    void prepare();
    void setProfile(const char *pButton);
    QByteArray body() const;
};

/// Rows 0, 2 and 3 of four are ticked.
void TestProfile::prepare()
{
    fill(FourTrackers);
    tick({3, 2, 0});
}

/// Presses the button and answers Yes.
void TestProfile::setProfile(const char *pButton)
{
    BoxAnswers answers({QMessageBox::Yes});
    click(pButton);
    QCOMPARE(answers.seen().size(), 1);
}

/// The body of the only request.
QByteArray TestProfile::body() const
{
    const QList<ScriptedServer::Request> requests = server()->requestsTo(ExtendPath);
    return requests.size() == 1 ? requests.first().body : QByteArray("not one request");
}

void TestProfile::questions_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("ticked");
    QTest::addColumn<QString>("text");
    QTest::newRow("extended, three")
        << "extendProfile" << 3
        << "You are about to set extended profile on 3 trackers.\n Are you sure?";
    QTest::newRow("extended, one")
        << "extendProfile" << 1
        << "You are about to set extended profile on 1 trackers.\n Are you sure?";
    QTest::newRow("normal, three")
        << "normalProfile" << 3
        << "You are about to set normal profile on 3 trackers.\n Are you sure?";
    QTest::newRow("normal, one")
        << "normalProfile" << 1
        << "You are about to set normal profile on 1 trackers.\n Are you sure?";
}

void TestProfile::questions()
{
    QFETCH(QString, button);
    QFETCH(int, ticked);
    QFETCH(QString, text);
    fill(FourTrackers);
    for (int iRow = 4 - ticked; iRow < 4; ++iRow) // disabled ones too
        tick({iRow});
    BoxAnswers answers({QMessageBox::No});
    click(qPrintable(button));
    QCOMPARE(answers.seen(), QList<SeenBox>{questionBox(text)});
}

void TestProfile::titleIsTranslated()
{
    prepare();
    const MarkingTranslator translator;
    BoxAnswers answers({QMessageBox::No});
    click("normalProfile");
    QCOMPARE(answers.seen().value(0).title, QString("MainWindow<Activate ?>"));
}

void TestProfile::returnKeyMeansYes()
{
    prepare();
    const WhileOpen visit([](QWidget *pBox) {
        pBox->activateWindow();
        QTest::keyClick(pBox, Qt::Key_Return);
    });
    click("normalProfile");
    QVERIFY(visit.hasActed());
    QCOMPARE(replies(), 1);
}

void TestProfile::requestBytes_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("extended") << "extendProfile" << QByteArray("Y");
    QTest::newRow("normal") << "normalProfile" << QByteArray("N");
}

void TestProfile::requestBytes()
{
    QFETCH(QString, button);
    QFETCH(QByteArray, value);
    prepare();
    setProfile(qPrintable(button));
    QTRY_COMPARE(server()->requestsTo(ExtendPath).size(), 1);
    QCOMPARE(onlyRequest(ExtendPath),
             expectedPost(ExtendPath, "extend=" + value +
                                          "&posted=[%0A"
                                          "    %7B%0A"
                                          "        %22deviceSn%22: %221000001%22%0A"
                                          "    %7D,%0A"
                                          "    %7B%0A"
                                          "        %22deviceSn%22: %221000003%22%0A"
                                          "    %7D,%0A"
                                          "    %7B%0A"
                                          "        %22deviceSn%22: %221000004%22%0A"
                                          "    %7D%0A"
                                          "]%0A"));
}

void TestProfile::anySender_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("word");
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("the name of the normal button") << "normalProfile"
                                                   << " normal " << QByteArray("extend=N&");
    QTest::newRow("other case") << "NormalProfile"
                                << " extended " << QByteArray("extend=Y&");
    QTest::newRow("all upper case") << "NORMALPROFILE"
                                    << " extended " << QByteArray("extend=Y&");
    QTest::newRow("longer") << "normalProfile2"
                            << " extended " << QByteArray("extend=Y&");
    QTest::newRow("shorter") << "normal"
                             << " extended " << QByteArray("extend=Y&");
    QTest::newRow("no name") << ""
                             << " extended " << QByteArray("extend=Y&");
}

void TestProfile::anySender()
{
    QFETCH(QString, name);
    QFETCH(QString, word);
    QFETCH(QByteArray, value);
    prepare();
    QPushButton button;
    button.setObjectName(name);
    QVERIFY(connect(&button, SIGNAL(clicked(bool)), window(), SLOT(setProfileButton(bool))));
    BoxAnswers answers({QMessageBox::Yes});
    button.click();
    QVERIFY(answers.seen().value(0).text.contains(word));
    QTRY_VERIFY(body().startsWith(value));
}

void TestProfile::noSender()
{
    prepare();
    BoxAnswers answers({QMessageBox::Yes});
    for (bool bArgument : {true, false})
        QVERIFY(QMetaObject::invokeMethod(window(), "setProfileButton", Q_ARG(bool, bArgument)));
    QCOMPARE(answers.seen().size(), 0);
    QCOMPARE(replies(), 0);
    QCOMPARE(infoLog(), QStringList());
}

void TestProfile::argumentIsNotUsed_data()
{
    QTest::addColumn<bool>("argument");
    QTest::newRow("true") << true;
    QTest::newRow("false") << false;
}

void TestProfile::argumentIsNotUsed()
{
    QFETCH(bool, argument);
    prepare();
    BoxAnswers answers({QMessageBox::Yes});
    QVERIFY(QMetaObject::invokeMethod(widget<QPushButton>("normalProfile"), "clicked",
                                      Q_ARG(bool, argument)));
    QTRY_VERIFY(body().startsWith("extend=N&"));
}

void TestProfile::senderIsReadBeforeTheBox()
{
    prepare();
    auto *pButton = new QPushButton;
    pButton->setObjectName("normalProfile");
    QVERIFY(connect(pButton, SIGNAL(toggled(bool)), window(), SLOT(setProfileButton(bool))));
    BoxAnswers answers({QMessageBox::Yes});
    answers.whileOpen([&] { pButton->setObjectName("extendProfile"); });
    pButton->setCheckable(true);
    pButton->setChecked(true);
    delete pButton;
    QTRY_VERIFY(body().startsWith("extend=N&"));
}

void TestProfile::ticksAreReadAgainAfterTheBox()
{
    prepare();
    BoxAnswers answers({QMessageBox::Yes});
    answers.whileOpen([&] {
        for (int iRow : {0, 2})
            model()->item(iRow)->setCheckState(Qt::Unchecked);
        tick({1});
    });
    click("extendProfile");
    QVERIFY(answers.seen().value(0).text.contains("on 3 trackers"));
    QTRY_COMPARE(body(), "extend=Y&posted=[%0A" + postedTracker("1000002") + ",%0A" +
                             postedTracker("1000004") + "%0A]%0A");
}

void TestProfile::nothingTicked_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<bool>("filled");
    QTest::addColumn<int>("state");
    for (const char *pButton : {"normalProfile", "extendProfile"}) {
        QTest::addRow("%s, nothing loaded yet", pButton) << pButton << false << 0;
        QTest::addRow("%s, none ticked", pButton) << pButton << true << 0;
        QTest::addRow("%s, half ticked", pButton) << pButton << true << 1;
    }
}

void TestProfile::nothingTicked()
{
    QFETCH(QString, button);
    QFETCH(bool, filled);
    QFETCH(int, state);
    if (filled) {
        fill(FourTrackers);
        for (int iRow = 0; iRow < 4; ++iRow)
            model()->item(iRow)->setData(state, Qt::CheckStateRole);
        model()->item(3)->child(0)->setCheckState(Qt::Checked);
    }
    BoxAnswers answers({QMessageBox::Yes});
    click(qPrintable(button));
    QCOMPARE(answers.seen().size(), 0);
    QCOMPARE(replies(), 0);
    QCOMPARE(infoLog(), QStringList());
    QVERIFY(bar()->isHidden());
}

void TestProfile::refusals_data()
{
    QTest::addColumn<bool>("escape");
    QTest::newRow("No") << false;
    QTest::newRow("Escape") << true;
}

void TestProfile::refusals()
{
    QFETCH(bool, escape);
    prepare();
    BoxAnswers answers({escape ? QMessageBox::NoButton : QMessageBox::No});
    click("extendProfile");
    QCOMPARE(answers.seen().size(), 1);
    QCOMPARE(replies(), 0);
    QCOMPARE(server()->requests().size(), 1);
    QCOMPARE(infoLog(), QStringList());
    QVERIFY(bar()->isHidden());
}

void TestProfile::log()
{
    prepare();
    setProfile("extendProfile");
    QCOMPARE(infoLog(), QStringList()); // what is posted is not logged here
    serve(ExtendPath, "oops");
    QTRY_COMPARE(server()->requestsTo(TrackersPath).size(), 2);
    const QStringList lines = infoLog();
    QCOMPARE(lines.mid(lines.size() - 2), QStringList({"Done", "\"oops\""}));
    QCOMPARE(lines.filter("deviceSn"), QStringList());
}

void TestProfile::progress()
{
    prepare();
    setProfile("normalProfile");
    QVERIFY(!bar()->isHidden());
    QTRY_COMPARE(server()->requestsTo(ExtendPath).size(), 1);
    const int iSize = body().size();
    QTRY_VERIFY(infoLog().contains(QString("%1 : %1").arg(iSize)));
    QCOMPARE(bar()->maximum(), iSize);
    QCOMPARE(bar()->value(), iSize);
}

void TestProfile::everyReplyReloads_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("accepted") << QByteArray("200 OK") << QByteArray("{}");
    QTest::newRow("refused session") << QByteArray("200 OK") << QByteArray(R"({"rcode":-99})");
    QTest::newRow("error page") << QByteArray("500 Oh") << QByteArray("oops");
}

void TestProfile::everyReplyReloads()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, body);
    prepare();
    setProfile("normalProfile");
    serve(ExtendPath, ScriptedServer::reply(body, status));
    serveTrackers(R"({"deviceSn":"1000001","p":"E"})");
    QCOMPARE(model()->rowCount(), 1);
    QCOMPARE(server()->requests().last().target(),
             QByteArray("/bsGetGroupTrackers.php?idgroup=12"));
    QCOMPARE(replies(), 0);
    QVERIFY(bar()->isHidden());
    QVERIFY(view()->isEnabled());
}

void TestProfile::arrivesAtMostOnce_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("closed without a byte") << QByteArray();
    QTest::newRow("half a status line") << QByteArray("HTTP/1.");
}

void TestProfile::arrivesAtMostOnce()
{
    QFETCH(QByteArray, bytes);
    prepare();
    server()->script(ExtendPath, ScriptedServer::sendAndClose(bytes));
    setProfile("extendProfile");
    serveTrackers(FourTrackers);
    QCOMPARE(server()->requestsTo(ExtendPath).size(), 1);
    QCOMPARE(server()->requests().size(), 3);
}

VELTRANO_TEST_MAIN(TestProfile)
#include "tst_profile.moc"
