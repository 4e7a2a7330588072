// Logging in and out: the request's bytes, the widgets' states, the stored user, the refusals.

#include "qtversions.h"
#include "servedtest.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>

namespace {
const char *const Accepted = R"({"id":7,"msg":"","name":"Nora Ånes"})";
const char *const TwoGroups = R"({"rcode":0,"groups":[{"id":"12","group_name":"Club A"},)"
                              R"({"id":"40","group_name":"Club B"}]})";
const char *const TwoTrackers = R"({"rcode":0,"balance":"12.50","trackers":[)"
                                R"({"deviceSn":"1000001"},{"deviceSn":"1000002"}]})";
} // namespace

class TestLogin : public ServedTest
{
    Q_OBJECT

private slots:
    void requestBytes();
    void bodies_data();
    void bodies();
    void buttonIsDisabledWhileUnderWay();
    void accepted();
    void acceptedLog();
    void idDecides_data();
    void idDecides();
    void refused();
    void failedReplies_data();
    void failedReplies();
    void refusalIsPlainText_data();
    void refusalIsPlainText();
    void refusalLeavesStoredUser();
    void storedUserOfAnyWriting();
    void returnInPasswordField();
    void returnSendsAgainWhileUnderWay();
    void refusedSecondLogin();
    void acceptedBehindTheBox();
    void logout();
    void logoutByReturn();
    void logoutLeavesBalanceProgressAndCookies();
    void lateListRefillsAfterLogout();

private:
    void setUp() override;
    void typeCredentials(const QString &strUser, const QString &strPassword);
    void clickLogin() { QTest::mouseClick(widget<QPushButton>("loginButton"), Qt::LeftButton); }
    void logIn();
    void checkLoggedIn();
    int requestCount() const { return server()->requests().size(); }
};

void TestLogin::setUp()
{
    QSettings().clear();
    ServedTest::setUp();
}

void TestLogin::typeCredentials(const QString &strUser, const QString &strPassword)
{
    widget<QLineEdit>("userLineEdit")->setText(strUser);
    widget<QLineEdit>("passwordLineEdit")->setText(strPassword);
}

void TestLogin::logIn()
{
    server()->answer("/bslogin.php", Accepted);
    server()->answer("/bsGetMyGroups.php", TwoGroups);
    server()->answer(TrackersPath, TwoTrackers);
    typeCredentials("nora@club.example", "secret");
    clickLogin();
    QTRY_COMPARE(shownText("numberTrackers"), QString("(2)"));
}

void TestLogin::requestBytes()
{
    typeCredentials("nora@club.example", "a b&c=d");
    clickLogin();
    QTRY_COMPARE(requestCount(), 1);
    QCOMPARE(onlyRequest("/bslogin.php"),
             expectedPost("/bslogin.php", "email=nora@club.example&password=a b%26c%3Dd"));
}

void TestLogin::bodies_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("both empty") << ""
                                << "" << QByteArray("email=&password=");
    QTest::newRow("blanks are not trimmed") << " a "
                                            << "  " << QByteArray("email= a &password=  ");
    QTest::newRow("plus stays") << "a+b@c"
                                << "+" << QByteArray("email=a+b@c&password=+");
    QTest::newRow("delimiters") << "&"
                                << "=" << QByteArray("email=%26&password=%3D");
    QTest::newRow("percent sign") << "50%"
                                  << "100%" << QByteArray("email=50%25&password=100%25");
    QTest::newRow("percent sequence is decoded") << "%41"
                                                 << "%20x" << QByteArray("email=A&password= x");
    QTest::newRow("percent-encoded delimiters stay")
        << "%26"
        << "%25" << QByteArray("email=%26&password=%25");
    QTest::newRow("marks of the query itself")
        << "\"<>{}|\\^`"
        << "!#$'()*,-./:;?@[]_~"
        << QByteArray("email=%22%3C%3E%7B%7D%7C%5C%5E%60&password=!#$'()*,-./:;?@[]_~");
    QTest::newRow("non-ASCII stays UTF-8")
        << QString::fromUtf8("ñandú@é") << QString::fromUtf8("пароль€")
        << QByteArray("email=ñandú@é&password=пароль€");
}

void TestLogin::bodies()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QByteArray, body);
    typeCredentials(user, password);
    clickLogin();
    QTRY_COMPARE(requestCount(), 1);
    QCOMPARE(server()->requests().first().body, body);
    QCOMPARE(server()->requests().first().header("Content-Length"),
             QByteArray::number(body.size()));
}

void TestLogin::buttonIsDisabledWhileUnderWay()
{
    typeCredentials("nora@club.example", "secret");
    clickLogin();
    QTRY_COMPARE(requestCount(), 1);
    QVERIFY(!widget<QPushButton>("loginButton")->isEnabled());
    QVERIFY(widget<QLineEdit>("userLineEdit")->isEnabled());
    QVERIFY(widget<QLineEdit>("passwordLineEdit")->isEnabled());
    QVERIFY(view()->isEnabled());
    QCOMPARE(shownText("loginButton"), QString("Login"));
    clickLogin(); // a disabled button takes no click
    QVERIFY(server()->release("/bslogin.php", QByteArray(Accepted)));
    QTRY_VERIFY(widget<QPushButton>("loginButton")->isEnabled());
    QCOMPARE(server()->requestsTo("/bslogin.php").size(), 1);
}

void TestLogin::accepted()
{
    // As an earlier logout leaves them.
    for (const char *pName : {"groupComboBox", "calendarWidget", "treeView"})
        widget<QWidget>(pName)->setEnabled(false);
    server()->answer("/bslogin.php", Accepted);
    typeCredentials("  nora@club.example", "secret");
    clickLogin();
    QTRY_COMPARE(server()->requestsTo("/bsGetMyGroups.php").size(), 1);

    auto *pLogin = widget<QPushButton>("loginButton");
    QCOMPARE(shownText("loginButton"), QString("Logout"));
    QVERIFY(pLogin->isEnabled());
    for (const char *pName : {"userLineEdit", "passwordLineEdit"})
        QVERIFY2(!widget<QWidget>(pName)->isEnabled(), pName);
    for (const char *pName : {"groupComboBox", "calendarWidget", "treeView"})
        QVERIFY2(widget<QWidget>(pName)->isEnabled(), pName);
    QCOMPARE(shownText("passwordLineEdit"), QString("secret"));
    QCOMPARE(requestCount(), 2);

    destroyWindow();
    QCOMPARE(QSettings().allKeys(), QStringList("lastuser"));
    QCOMPARE(QSettings().value("lastuser"), QVariant("  nora@club.example"));
    makeWindow();
    QCOMPARE(shownText("userLineEdit"), QString("  nora@club.example"));
    QCOMPARE(shownText("passwordLineEdit"), QString());
}

void TestLogin::acceptedLog()
{
    server()->answer("/bslogin.php", R"({"id":1,"name":"Nora"})");
    typeCredentials("nora@club.example", "a-very-secret-word");
    clickLogin();
    QTRY_COMPARE(requestCount(), 2);
    QCOMPARE(infoLog(), QStringList({R"("{\"id\":1,\"name\":\"Nora\"}")", R"("Nora")"}));
}

void TestLogin::idDecides_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("1 is the least") << QByteArray(R"({"id":1})") << true;
    QTest::newRow("large") << QByteArray(R"({"id":2147483647})") << true;
    QTest::newRow("whole number with a fraction") << QByteArray(R"({"id":3.0})") << true;
    QTest::newRow("accepted in spite of a code") << QByteArray(R"({"id":1,"rcode":-99})") << true;
    QTest::newRow("0") << QByteArray(R"({"id":0})") << false;
    QTest::newRow("negative") << QByteArray(R"({"id":-1})") << false;
    QTest::newRow("text") << QByteArray(R"({"id":"12"})") << false;
    QTest::newRow("fraction") << QByteArray(R"({"id":1.5})") << false;
    QTest::newRow("beyond 32 bits") << QByteArray(R"({"id":2147483648})") << false;
    QTest::newRow("true") << QByteArray(R"({"id":true})") << false;
    QTest::newRow("null") << QByteArray(R"({"id":null})") << false;
    QTest::newRow("missing") << QByteArray(R"({"name":"x"})") << false;
    QTest::newRow("array of an object") << QByteArray(R"([{"id":1}])") << false;
}

void TestLogin::idDecides()
{
    QFETCH(QByteArray, body);
    QFETCH(bool, accepted);
    BoxAnswers answers({QMessageBox::Ok});
    server()->answer("/bslogin.php", body);
    clickLogin();
    QTRY_VERIFY(widget<QPushButton>("loginButton")->isEnabled());
    QCOMPARE(answers.seen().size(), accepted ? 0 : 1);
    QCOMPARE(shownText("loginButton"), QString(accepted ? "Logout" : "Login"));
}

void TestLogin::refused()
{
    BoxAnswers answers({QMessageBox::Ok});
    bool bEnabledWhileOpen = true;
    answers.whileOpen([&] { bEnabledWhileOpen = widget<QPushButton>("loginButton")->isEnabled(); });
    server()->answer("/bslogin.php", R"({"id":0,"msg":"Wrong password","name":"Nora"})");
    typeCredentials("nora@club.example", "secrte");
    clickLogin();
    QTRY_VERIFY(!answers.seen().isEmpty());
    QTRY_VERIFY(widget<QPushButton>("loginButton")->isEnabled());

    SeenBox expected;
    expected.title = "Error";
    expected.text = "Wrong password";
    expected.icon = QMessageBox::Critical;
    expected.buttons = QMessageBox::Ok;
    expected.hasDefaultButton = true;
    expected.parentName = "MainWindow";
    QCOMPARE(answers.seen(), QList<SeenBox>{expected});
    QVERIFY(!bEnabledWhileOpen); // the box comes first

    QCOMPARE(shownText("loginButton"), QString("Login"));
    QCOMPARE(shownText("userLineEdit"), QString("nora@club.example"));
    QCOMPARE(shownText("passwordLineEdit"), QString("secrte"));
    for (const char *pName :
         {"userLineEdit", "passwordLineEdit", "groupComboBox", "calendarWidget", "treeView"})
        QVERIFY2(widget<QWidget>(pName)->isEnabled(), pName);
    QCOMPARE(requestCount(), 1);
    // The name is logged for an accepted login only.
    QCOMPARE(infoLog().size(), 1);
}

void TestLogin::failedReplies_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    QTest::newRow("not JSON") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\n<html>");
    QTest::newRow("closed without a byte") << QByteArray();
    QTest::newRow("half a status line") << QByteArray("HTTP/1.1 2");
    QTest::newRow("error page") << QByteArray("HTTP/1.1 500 Oh\r\nContent-Length: 2\r\n\r\nno");
    QTest::newRow("redirect") << QByteArray(
        "HTTP/1.1 302 Found\r\nLocation: https://localhost:1/\r\n"
        "Content-Length: 0\r\n\r\n");
    QTest::newRow("cut body") << QByteArray(
        "HTTP/1.1 200 OK\r\nContent-Length: 90\r\n\r\n{\"id\":1,");
}

void TestLogin::failedReplies()
{
    QFETCH(QByteArray, bytes);
    BoxAnswers answers({QMessageBox::Ok});
    server()->script("/bslogin.php", ScriptedServer::sendAndClose(bytes));
    clickLogin();
    QTRY_VERIFY(!answers.seen().isEmpty());
    QTRY_VERIFY(widget<QPushButton>("loginButton")->isEnabled());
    QCOMPARE(answers.seen().size(), 1);
    QCOMPARE(answers.seen().first().title, QString("Error"));
    QCOMPARE(answers.seen().first().text, QString());
    QCOMPARE(shownText("loginButton"), QString("Login"));
    QCOMPARE(requestCount(), 1);
}

void TestLogin::refusalIsPlainText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Qt::TextFormat>("format");
    // What the framework would not take for rich text is left to its own box.
    QTest::newRow("words") << "Wrong password" << Qt::AutoText;
    QTest::newRow("a lone angle") << "1 < 2" << Qt::AutoText;
    QTest::newRow("a tag behind a line") << "no\n<b>no</b>" << Qt::AutoText;
    QTest::newRow("empty") << "" << Qt::AutoText;
    QTest::newRow("bold") << "<b>no</b>" << Qt::PlainText;
    QTest::newRow("a picture") << "no<img src='file:///dev/zero'>" << Qt::PlainText;
    QTest::newRow("a whole page") << "<!DOCTYPE html><html>no</html>" << Qt::PlainText;
    QTest::newRow("a declaration without a tag") << "<?xml version='1.0'?>no" << Qt::AutoText;
    QTest::newRow("a tag behind a declaration")
        << "<?xml version='1.0'?><p>no</p>" << Qt::PlainText;
    QTest::newRow("blanks before a tag") << "  <p>no</p>" << Qt::PlainText;
    QTest::newRow("an entity in the first line") << "no &lt; no" << Qt::PlainText;
}

void TestLogin::refusalIsPlainText()
{
    QFETCH(QString, text);
    QFETCH(Qt::TextFormat, format);
    BoxAnswers answers({QMessageBox::Ok});
    const QJsonObject reply{{"id", 0}, {"msg", text}};
    server()->answer("/bslogin.php", QJsonDocument(reply).toJson());
    clickLogin();
    QTRY_VERIFY(!answers.seen().isEmpty());

    SeenBox expected;
    expected.title = "Error";
    expected.text = text;
    expected.icon = QMessageBox::Critical;
    expected.buttons = QMessageBox::Ok;
    expected.textFormat = format;
    expected.hasDefaultButton = format == Qt::AutoText;
    expected.parentName = "MainWindow";
    QCOMPARE(answers.seen(), QList<SeenBox>{expected});
}

void TestLogin::refusalLeavesStoredUser()
{
    QSettings().setValue("lastuser", "first@club.example");
    makeWindow();
    QCOMPARE(shownText("userLineEdit"), QString("first@club.example"));
    BoxAnswers answers({QMessageBox::Ok});
    server()->answer("/bslogin.php", R"({"id":0,"msg":"no"})");
    typeCredentials("second@club.example", "x");
    clickLogin();
    QTRY_VERIFY(!answers.seen().isEmpty());
    destroyWindow();
    QCOMPARE(QSettings().value("lastuser"), QVariant("first@club.example"));
}

void TestLogin::storedUserOfAnyWriting()
{
    if (!QSettings().fileName().endsWith(".conf"))
        return QTest::qSkip("the settings are no text here", __FILE__, __LINE__);
    const QString strUser = QString::fromUtf8("nöra@日本.example");
    const QByteArray baEscaped = "lastuser=n\\xf6ra@\\x65e5\\x672c.example";
    const auto contents = [] {
        QFile file(QSettings().fileName());
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    };
    server()->answer("/bslogin.php", Accepted);
    typeCredentials(strUser, "secret");
    clickLogin();
    QTRY_COMPARE(shownText("loginButton"), QString("Logout"));
    destroyWindow();
    QTRY_VERIFY(contents().contains("lastuser="));
    QCOMPARE(contents(),
             "[General]\n" + (IsQt6 ? "lastuser=" + strUser.toUtf8() : baEscaped) + '\n');
    makeWindow();
    QCOMPARE(shownText("userLineEdit"), strUser);

    // As Qt 5 writes it.
    destroyWindow();
    QSettings().clear();
    QSettings().sync();
    QFile file(QSettings().fileName());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[General]\n" + baEscaped + '\n');
    file.close();
    makeWindow();
    QCOMPARE(shownText("userLineEdit"), strUser);
}

void TestLogin::returnInPasswordField()
{
    typeCredentials("nora@club.example", "secret");
    QTest::keyClick(widget<QLineEdit>("passwordLineEdit"), Qt::Key_Return);
    QTRY_COMPARE(requestCount(), 1);
    QCOMPARE(server()->requests().first().body,
             QByteArray("email=nora@club.example&password=secret"));
    QVERIFY(!widget<QPushButton>("loginButton")->isEnabled());
}

void TestLogin::returnSendsAgainWhileUnderWay()
{
    typeCredentials("nora@club.example", "secret");
    clickLogin();
    QTest::keyClick(widget<QLineEdit>("passwordLineEdit"), Qt::Key_Return);
    QTRY_COMPARE(server()->requestsTo("/bslogin.php").size(), 2);
}

void TestLogin::refusedSecondLogin()
{
    server()->answer("/bsGetMyGroups.php", TwoGroups);
    server()->answer(TrackersPath, TwoTrackers);
    typeCredentials("nora@club.example", "secret");
    clickLogin();
    QTest::keyClick(widget<QLineEdit>("passwordLineEdit"), Qt::Key_Return);
    QTRY_COMPARE(server()->requestsTo("/bslogin.php").size(), 2);
    QVERIFY(server()->release("/bslogin.php", Accepted));
    QTRY_COMPARE(shownText("numberTrackers"), QString("(2)"));

    // The refusal is shown, and the session goes on.
    BoxAnswers answers({QMessageBox::Ok});
    QVERIFY(server()->release("/bslogin.php", R"({"id":0,"msg":"Twice"})"));
    QTRY_COMPARE(answers.seen().size(), 1);
    QCOMPARE(answers.seen().first().title, QString("Error"));
    QCOMPARE(answers.seen().first().text, QString("Twice"));
    checkLoggedIn();
    QCOMPARE(requestCount(), 4);
}

void TestLogin::acceptedBehindTheBox()
{
    server()->answer("/bsGetMyGroups.php", TwoGroups);
    server()->answer(TrackersPath, TwoTrackers);
    typeCredentials("nora@club.example", "secret");
    clickLogin();
    QTest::keyClick(widget<QLineEdit>("passwordLineEdit"), Qt::Key_Return);
    QTRY_COMPARE(server()->requestsTo("/bslogin.php").size(), 2);

    BoxAnswers answers({QMessageBox::Ok});
    answers.whileOpen([this] {
        QVERIFY(server()->release("/bslogin.php", Accepted));
        QTRY_COMPARE(shownText("numberTrackers"), QString("(2)"));
        QVERIFY(!widget<QWidget>("userLineEdit")->isEnabled());
    });
    QVERIFY(server()->release("/bslogin.php", R"({"id":0,"msg":"No"})"));
    QTRY_COMPARE(answers.seen().size(), 1);
    checkLoggedIn();
    QCOMPARE(requestCount(), 4);
}

void TestLogin::checkLoggedIn()
{
    QTRY_VERIFY(!QApplication::activeModalWidget());
    auto *pButton = widget<QPushButton>("loginButton");
    QTRY_VERIFY(pButton->isEnabled());
    QCOMPARE(shownText("loginButton"), QString("Logout"));
    for (const char *pName : {"userLineEdit", "passwordLineEdit"})
        QVERIFY2(!widget<QWidget>(pName)->isEnabled(), pName);
    for (const char *pName : {"groupComboBox", "calendarWidget", "treeView"})
        QVERIFY2(widget<QWidget>(pName)->isEnabled(), pName);
    QCOMPARE(combo()->count(), 2);
    QCOMPARE(model()->rowCount(), 2);
    QCOMPARE(shownText("numberTrackers"), QString("(2)"));
    QCOMPARE(QSettings().value("lastuser"), QVariant("nora@club.example"));
}

void TestLogin::logout()
{
    logIn();
    const int iBefore = requestCount();
    widget<QLineEdit>("passwordLineEdit")->setText("secret");
    clickLogin();

    QCOMPARE(shownText("loginButton"), QString("Login"));
    QVERIFY(widget<QPushButton>("loginButton")->isEnabled());
    for (const char *pName : {"userLineEdit", "passwordLineEdit"})
        QVERIFY2(widget<QWidget>(pName)->isEnabled(), pName);
    for (const char *pName : {"groupComboBox", "calendarWidget", "treeView"})
        QVERIFY2(!widget<QWidget>(pName)->isEnabled(), pName);
    QCOMPARE(shownText("userLineEdit"), QString("nora@club.example"));
    QCOMPARE(shownText("passwordLineEdit"), QString());
    QAbstractItemModel *pModel = model();
    QCOMPARE(pModel->rowCount(), 0);
    QCOMPARE(pModel->columnCount(), 0);
    QCOMPARE(shownText("numberTrackers"), QString());
    QCOMPARE(combo()->count(), 0);
    QCOMPARE(QSettings().value("lastuser"), QVariant("nora@club.example"));

    // Nothing was sent: the next login is the next request.
    clickLogin();
    QTRY_COMPARE(requestCount(), iBefore + 3);
    QCOMPARE(server()->requests().at(iBefore).path(), QByteArray("/bslogin.php"));
}

void TestLogin::logoutByReturn()
{
    logIn();
    // The field is disabled now, but a press that the platform still delivers logs out.
    QVERIFY(QMetaObject::invokeMethod(window(), "onLoginReturnPressed"));
    QCOMPARE(shownText("loginButton"), QString("Login"));
    QCOMPARE(combo()->count(), 0);
}

void TestLogin::logoutLeavesBalanceProgressAndCookies()
{
    server()->script("/bslogin.php",
                     ScriptedServer::reply(Accepted, "200 OK",
                                           "Set-Cookie: sid=abc; Path=/; Secure; HttpOnly\r\n"));
    server()->answer("/bsGetMyGroups.php", TwoGroups);
    server()->answer(TrackersPath, TwoTrackers);
    clickLogin();
    QTRY_COMPARE(shownText("numberTrackers"), QString("(2)"));
    bar()->show();
    clickLogin();
    QCOMPARE(shownText("accountBalance"), QString("12.50"));
    QVERIFY(!bar()->isHidden());

    QTest::mouseClick(widget<QAbstractButton>("buttonRefresh"), Qt::LeftButton);
    QTRY_COMPARE(server()->requestsTo("/bsGetMyGroups.php").size(), 2);
    QCOMPARE(server()->requests().first().header("Cookie"), QByteArray());
    const QList<ScriptedServer::Request> later = server()->requests().mid(1);
    for (const ScriptedServer::Request &request : later)
        QCOMPARE(request.header("Cookie"), QByteArray("sid=abc"));
}

void TestLogin::lateListRefillsAfterLogout()
{
    server()->answer("/bslogin.php", Accepted);
    clickLogin();
    QTRY_COMPARE(server()->requestsTo("/bsGetMyGroups.php").size(), 1);
    clickLogin();
    QVERIFY(server()->release("/bsGetMyGroups.php", QByteArray(TwoGroups)));
    QTRY_COMPARE(combo()->count(), 2);
    QVERIFY(!combo()->isEnabled());
    QTRY_COMPARE(server()->requestsTo(TrackersPath).size(), 1);
}

VELTRANO_TEST_MAIN(TestLogin)
#include "tst_login.moc"
