// Whatever a service may put into the body of a reply, and what the window makes of it. What is
// expected is worked out from the values that the test itself wrote, by one small rule a member.

#include "jsonvalue.h"
#include "servedtest.h"

#include "details/edittracker.h"

#include <QAbstractButton>
#include <QAbstractItemModelTester>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QUrl>
#include <QUrlQuery>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <limits>

namespace {
constexpr int ReplyMs = 30000;    // also the longest that a body may hold up the window
constexpr quint32 Seed = 18443;   // another one: VELTRANO_BODY_SEED=NUMBER
constexpr int RandomBodies = 300; // of each list; what opens a window takes longer
constexpr int RandomBoxes = 40;
constexpr int HugeText = 1000000;
constexpr int HugeMessage = 200000; // a box lays it out several times before it opens

const char *const GroupsPath = "/bsGetMyGroups.php";
const char *const LoginPath = "/bslogin.php";
const char *const DetailsPath = "/bsGetGroupTrackerInfo.php";
const char *const TrackersPath = TrackersPath;

using Member = JsonValue::Member;

JsonValue text(const char *pText)
{
    return JsonValue::text(QString::fromUtf8(pText));
}

// How the members of a reply read. The client has no part in this.

QString textOf(const JsonValue &value)
{
    return value.type() == JsonValue::Text ? value.text() : QString();
}

int wholeOf(const JsonValue &value)
{
    const double number = value.type() == JsonValue::Number ? value.number() : 0;
    const bool bFits = number == std::floor(number) && number >= std::numeric_limits<int>::min() &&
                       number <= std::numeric_limits<int>::max();
    return bFits ? static_cast<int>(number) : 0;
}

/// A decimal number of 32 bits in a text, with blanks around it or not.
int decimalIn(const JsonValue &value)
{
    const QString strDigits = textOf(value).trimmed();
    const bool bSigned = strDigits.startsWith('-') || strDigits.startsWith('+');
    qint64 iNumber = 0;
    for (int i = bSigned ? 1 : 0; i < strDigits.size(); ++i) {
        const ushort code = strDigits.at(i).unicode();
        if (code < '0' || code > '9' || iNumber > std::numeric_limits<int>::max())
            return 0;
        iNumber = 10 * iNumber + (code - '0');
    }
    if (strDigits.startsWith('-'))
        iNumber = -iNumber;
    const bool bFits =
        iNumber >= std::numeric_limits<int>::min() && iNumber <= std::numeric_limits<int>::max();
    return bFits ? static_cast<int>(iNumber) : 0;
}

/// A group's id as it goes into the request for its trackers.
QString sentIdOf(const JsonValue &value)
{
    switch (value.type()) {
    case JsonValue::Text:
        return value.text();
    case JsonValue::Number:
        // A whole number keeps all its digits, also those that a double has no room for.
        return value.written().contains('.') || value.written().toLower().contains('e')
                   ? QString::number(value.number(), 'g', QLocale::FloatingPointShortest)
                   : QString(value.written());
    case JsonValue::Bool:
        return value.isTrue() ? "true" : "false";
    default:
        return {};
    }
}

QVector<JsonValue> itemsOf(const JsonValue &value)
{
    return value.type() == JsonValue::Array ? value.items() : QVector<JsonValue>();
}

// What the operator sees, as lines that can be compared.

QStringList expectedRow(const JsonValue &tracker)
{
    const QString strVersion = textOf(tracker["v"]);
    const QVector<JsonValue> activations = itemsOf(tracker["activations"]);
    const bool bPending =
        std::any_of(activations.cbegin(), activations.cend(),
                    [](const JsonValue &each) { return decimalIn(each["done"]) == 0; });
    const bool bActive = textOf(tracker["state"]) == "A";
    QStringList ids;
    const QVector<JsonValue> groups = itemsOf(tracker["groups"]);
    for (const JsonValue &group : groups)
        ids << textOf(group["id"]);

    QStringList lines{"serial number " + textOf(tracker["deviceSn"]),
                      "name " + textOf(tracker["TrackerName"]),
                      "competition " + textOf(tracker["compe_id"]),
                      "firmware " + (strVersion.isEmpty()
                                         ? QString(" .")
                                         : strVersion.at(0) + QString(".") + strVersion.mid(1)),
                      "IMSI " + textOf(tracker["imsi"]),
                      tracker["state"].type() == JsonValue::Null ? "disabled" : "enabled",
                      textOf(tracker["p"]) == "E" ? "#dd5500" : "no colour",
                      "tip " + (ids.isEmpty() ? QString() : "other groups:" + ids.join(',')),
                      bActive    ? "green"
                      : bPending ? "yellow"
                                 : "red",
                      "unticked"};
    for (const JsonValue &activation : activations)
        lines << "period " + textOf(activation["startTime"]) + " -> " +
                     textOf(activation["endTime"]) +
                     QString(", done %1, id %2")
                         .arg(decimalIn(activation["done"]))
                         .arg(decimalIn(activation["id"]));
    return lines;
}

QStringList expectedTable(const JsonValue &reply)
{
    const QVector<JsonValue> trackers = itemsOf(reply["trackers"]);
    const bool bRefused = wholeOf(reply["rcode"]) == -99;
    QStringList lines{"balance " + textOf(reply["balance"]),
                      QString("count (%1)").arg(trackers.size()),
                      bRefused ? "logged out" : "no logout", bRefused ? "0 groups" : "1 groups",
                      "Serial Number, Tracker Name, CompeId, Firmware, Imsi"};
    for (const JsonValue &tracker : trackers)
        lines << expectedRow(tracker);
    return lines;
}

QStringList expectedGroups(const JsonValue &reply)
{
    QStringList lines{wholeOf(reply["rcode"]) == -99 ? "logged out" : "no logout"};
    const QVector<JsonValue> groups = itemsOf(reply["groups"]);
    for (const JsonValue &group : groups)
        lines << textOf(group["id"]) + " - " + textOf(group["group_name"]) + ", sent as " +
                     sentIdOf(group["id"]);
    return lines;
}

/// By what it looks like.
QString lightName(const QIcon &icon)
{
    const QImage image = icon.pixmap(16, 16).toImage();
    for (const char *pName : {"green", "yellow", "red"}) {
        if (image == QIcon(QString(":/%1light.png").arg(pName)).pixmap(16, 16).toImage())
            return pName;
    }
    return "no light";
}

// Bodies that nobody here has written.

/// What is missing is not written: an earlier member of the same name counts.
QVector<Member> withoutMissing(QVector<Member> members)
{
    const auto missing = [](const Member &each) {
        return each.second.type() == JsonValue::Missing;
    };
    members.erase(std::remove_if(members.begin(), members.end(), missing), members.end());
    return members;
}

/// Of members with the same name the last one counts. Where another one is an array or an object,
/// the framework's parser loses its memory, which the leak sanitizer would report.
JsonValue objectOf(QVector<Member> members)
{
    for (auto it = members.begin(); it != members.end(); ++it) {
        const bool bCounts = std::none_of(
            it + 1, members.end(), [&](const Member &each) { return each.first == it->first; });
        const JsonValue::Type type = it->second.type();
        if (!bCounts && (type == JsonValue::Array || type == JsonValue::Object))
            it->second = JsonValue::null();
    }
    return JsonValue::object(members);
}

class Writer
{
public:
    explicit Writer(quint32 iSeed) : m_random(iSeed) {}

    QRandomGenerator *random() { return &m_random; }
    JsonValue trackersReply();
    JsonValue groupsReply();
    JsonValue loginReply();
    JsonValue detailsReply();
    /// A body that something went wrong with on its way.
    QByteArray damaged(const QByteArray &baBody);

private:
    bool oneIn(int iMany) { return m_random.bounded(iMany) == 0; }
    template <typename T>
    T oneOf(std::initializer_list<T> choice)
    {
        return *(choice.begin() + m_random.bounded(static_cast<int>(choice.size())));
    }
    QString anyText();
    JsonValue anyNumber();
    JsonValue anyValue(int iDepth = 0);
    /// What belongs there, or now and then anything.
    JsonValue orAny(const JsonValue &value) { return oneIn(6) ? anyValue() : value; }
    JsonValue someText() { return orAny(JsonValue::text(anyText())); }
    JsonValue someDecimal();
    /// In an array nothing can be missing.
    static JsonValue orNull(const JsonValue &value)
    {
        return value.type() == JsonValue::Missing ? JsonValue::null() : value;
    }
    template <typename Make>
    JsonValue list(int iMost, Make make)
    {
        QVector<JsonValue> items(m_random.bounded(iMost + 1));
        for (JsonValue &item : items)
            item = orNull(make());
        return orAny(JsonValue::array(items));
    }
    /// Shuffled, and now and then a member twice, missing, or under another name.
    JsonValue object(QVector<Member> members);
    JsonValue tracker();
    JsonValue activation();
    JsonValue group();

    QRandomGenerator m_random;
};

QString Writer::anyText()
{
    if (!oneIn(3))
        return QString::fromUtf8(oneOf<const char *>(
            {"", "A", "E", "e", "305", "7", " -12 ", "0", "1", "<b>x</b>", "é 🛰", "%1 %2",
             "<img src='file:///dev/zero'>", "%20&=+#", "null", "-99", "\n\t", "\"\\/"}));
    QString strText;
    for (int i = m_random.bounded(12); i > 0; --i)
        strText += QChar(ushort(oneIn(2) ? m_random.bounded(0x80) : m_random.bounded(0x10000)));
    return strText;
}

JsonValue Writer::anyNumber()
{
    return JsonValue::number(oneOf<const char *>(
        {"0", "1", "-1", "7", "12", "-99", "-99.0", "-9.9e1", "-99.5", "0.5", "1e3", "1E+2",
         "2147483647", "2147483648", "-2147483648", "4294967197", "9007199254740993", "1e300"}));
}

JsonValue Writer::anyValue(int iDepth)
{
    const int iKinds = iDepth < 4 ? 7 : 5;
    switch (m_random.bounded(iKinds)) {
    case 0:
        return {};
    case 1:
        return JsonValue::null();
    case 2:
        return JsonValue::boolean(oneIn(2));
    case 3:
        return anyNumber();
    case 4:
        return JsonValue::text(anyText());
    case 5: {
        QVector<JsonValue> items(m_random.bounded(4));
        for (JsonValue &item : items)
            item = orNull(anyValue(iDepth + 1));
        return JsonValue::array(items);
    }
    default: {
        QVector<Member> members(m_random.bounded(4));
        for (Member &member : members)
            member = {oneIn(2) ? anyText() : QString("id"), anyValue(iDepth + 1)};
        return objectOf(withoutMissing(members));
    }
    }
}

JsonValue Writer::someDecimal()
{
    const QByteArray baNumber = QByteArray::number(m_random.bounded(-3, 100));
    return orAny(oneIn(3) ? text("0") : text(baNumber.constData()));
}

JsonValue Writer::object(QVector<Member> members)
{
    if (oneIn(4))
        members << Member(members.at(m_random.bounded(members.size())).first, anyValue());
    if (oneIn(4))
        members << Member(anyText(), anyValue());
    if (oneIn(4))
        members.removeAt(m_random.bounded(members.size()));
    for (int i = members.size() - 1; i > 0; --i)
        std::swap(members[i], members[m_random.bounded(i + 1)]);
    return objectOf(withoutMissing(members));
}

JsonValue Writer::activation()
{
    return orAny(object({{"id", someDecimal()},
                         {"done", someDecimal()},
                         {"startTime", someText()},
                         {"endTime", someText()}}));
}

JsonValue Writer::group()
{
    return orAny(object({{"id", oneIn(3) ? anyNumber() : someText()}, {"group_name", someText()}}));
}

JsonValue Writer::tracker()
{
    return orAny(object({{"deviceSn", someText()},
                         {"TrackerName", someText()},
                         {"compe_id", someText()},
                         {"state", oneIn(3) ? JsonValue::null() : orAny(text("A"))},
                         {"v", someText()},
                         {"imsi", someText()},
                         {"p", orAny(text("E"))},
                         {"groups", list(3, [this] { return group(); })},
                         {"activations", list(4, [this] { return activation(); })}}));
}

JsonValue Writer::trackersReply()
{
    return object({{"rcode", orAny(oneIn(4) ? JsonValue::number("-99") : anyNumber())},
                   {"balance", someText()},
                   {"trackers", list(5, [this] { return tracker(); })}});
}

JsonValue Writer::groupsReply()
{
    return object({{"rcode", orAny(oneIn(4) ? JsonValue::number("-99") : anyNumber())},
                   {"groups", list(4, [this] { return group(); })}});
}

JsonValue Writer::loginReply()
{
    return object({{"id", orAny(anyNumber())}, {"msg", someText()}, {"name", someText()}});
}

JsonValue Writer::detailsReply()
{
    return object({{"name", someText()}, {"deviceSN", someText()}, {"SN", someText()}});
}

QByteArray Writer::damaged(const QByteArray &baBody)
{
    QByteArray baDamaged = baBody;
    for (int i = m_random.bounded(1, 4); i > 0 && !baDamaged.isEmpty(); --i) {
        const int iPlace = m_random.bounded(baDamaged.size());
        const char byte = static_cast<char>(m_random.bounded(0x100));
        switch (m_random.bounded(6)) {
        case 0:
            baDamaged.truncate(iPlace);
            break;
        case 1:
            baDamaged[iPlace] = byte;
            break;
        case 2:
            baDamaged.insert(iPlace, byte);
            break;
        case 3:
            baDamaged.remove(iPlace, 1);
            break;
        case 4: // the kind of thing that leaves it JSON
            baDamaged.insert(iPlace,
                             oneOf<const char *>({"{", "}", "[", "]", ",", ":", "\"", "0"}));
            break;
        default:
            baDamaged.insert(iPlace, baDamaged.mid(iPlace, m_random.bounded(20)));
            break;
        }
    }
    return baDamaged;
}
} // namespace

class TestBodies : public ServedTest
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase() { ServedTest::tearDown(); }

    void trackersMembers_data();
    void trackersMembers();
    void groupsMembers_data();
    void groupsMembers();
    void loginMembers_data();
    void loginMembers();
    void detailsMembers_data();
    void detailsMembers();

    void nesting_data();
    void nesting();
    void encodings_data();
    void encodings();
    void texts_data();
    void texts();
    void hugeTexts_data();
    void hugeTexts();
    void hugeBox_data();
    void hugeBox();
    void severalTimesTheSameMember();

    void randomTrackers();
    void randomGroups();
    void randomLogins();
    void randomDetails();
    void damagedTrackers();
    void damagedGroups();

private:
    // One window for all: a body must not leave anything behind that the next one would show.
    void setUp() override {}
    void tearDown() override {}
    QNetworkReply *newestReply() const;
    /// Whether a request is under way; the replies of the details stay when they are finished.
    bool isAsking() const { return newestReply() && newestReply()->isRunning(); }
    /// Waits until the window has deleted the reply; false if it never does.
    static bool isDealtWith(QNetworkReply *pReply);
    bool deliverTrackers(const QByteArray &baBody);
    bool deliverGroups(const QByteArray &baBody);
    /// Presses Login, and Logout where that succeeded; what the boxes said.
    QStringList login(const QByteArray &baBody);
    /// Double-clicks a tracker and confirms the dialog; what it showed and what is then saved.
    QStringList editDetails(const QByteArray &baBody);

    QStringList shownTable();
    QStringList shownGroups();
    /// After whatever body: a good reply shows as always.
    QString failureOfGoodReplies();
    QString bodyNumber(int iBody, const QByteArray &baBody) const;

    quint32 m_iSeed = Seed;
    QScopedPointer<QAbstractItemModelTester> m_pTester;
};

void TestBodies::initTestCase()
{
    startLog();
    bool bGiven = false;
    const quint32 iGiven = qEnvironmentVariableIntValue("VELTRANO_BODY_SEED", &bGiven);
    if (bGiven)
        m_iSeed = iGiven;
    std::printf("The bodies' seed: %u\n", m_iSeed);

    ServedTest::setUp();
    m_pTester.reset(new QAbstractItemModelTester(
        model(), QAbstractItemModelTester::FailureReportingMode::QtTest));
    server()->answer(GroupsPath, "{}");
    server()->answer(TrackersPath, "{}");
}

QNetworkReply *TestBodies::newestReply() const
{
    auto *pManager = window()->findChild<QNetworkAccessManager *>();
    const QList<QNetworkReply *> replies = pManager->findChildren<QNetworkReply *>();
    return replies.isEmpty() ? nullptr : replies.last();
}

bool TestBodies::isDealtWith(QNetworkReply *pReply)
{
    QSignalSpy deleted(pReply, SIGNAL(destroyed()));
    return deleted.wait(ReplyMs);
}

bool TestBodies::deliverTrackers(const QByteArray &baBody)
{
    clearInfoLog();
    server()->answer(TrackersPath, baBody);
    view()->setEnabled(true);
    combo()->clear();
    combo()->addItem("12 - Club A", "12");
    return isDealtWith(newestReply());
}

bool TestBodies::deliverGroups(const QByteArray &baBody)
{
    clearInfoLog();
    server()->answer(GroupsPath, baBody);
    server()->answer(TrackersPath, "{}");
    view()->setEnabled(true);
    click("buttonRefresh");
    // The first group's trackers are asked for meanwhile.
    return isDealtWith(newestReply()) && (!isAsking() || isDealtWith(newestReply()));
}

QStringList TestBodies::login(const QByteArray &baBody)
{
    clearInfoLog();
    server()->answer(LoginPath, baBody);
    server()->answer(GroupsPath, "{}");
    BoxAnswers answers({QMessageBox::Ok});
    click("loginButton");
    if (!isDealtWith(newestReply()))
        return {"no answer"};
    if (widget<QAbstractButton>("loginButton")->text() == "Logout") {
        isDealtWith(newestReply());
        click("loginButton");
    }
    QStringList texts;
    const QList<SeenBox> &boxes = answers.seen();
    for (const SeenBox &box : boxes)
        texts << box.text;
    return texts;
}

QStringList TestBodies::editDetails(const QByteArray &baBody)
{
    clearInfoLog();
    server()->answer(DetailsPath, baBody);
    QStringList seen;
    const WhileOpen confirmed([&](QWidget *pOpen) {
        seen << childOf<QLineEdit>(pOpen, "trackerNameLineEdit")->text() << infoLog().constLast();
        qobject_cast<EditTracker *>(pOpen)->accept();
    });
    emit view()->doubleClicked(model()->index(0, 0));
    // These replies stay; the window's slot, connected earlier, has returned when the signal comes.
    for (int i = 0; i < 2; ++i) {
        QSignalSpy finished(newestReply(), SIGNAL(finished()));
        if (!finished.wait(ReplyMs))
            return {"no answer"};
    }
    const QByteArray baTarget = server()->requests().last().target();
    seen << QUrlQuery(QUrl::fromEncoded(baTarget)).queryItemValue("SN", QUrl::FullyDecoded);
    return seen;
}

QStringList TestBodies::shownTable()
{
    QStandardItemModel *pModel = model();
    QStringList headers;
    for (int iColumn = 0; iColumn < pModel->columnCount(); ++iColumn)
        headers << pModel->headerData(iColumn, Qt::Horizontal).toString();
    QStringList lines{"balance " + widget<QLabel>("accountBalance")->text(),
                      "count " + widget<QLabel>("numberTrackers")->text(),
                      view()->isEnabled() ? "no logout" : "logged out",
                      QString("%1 groups").arg(combo()->count()), headers.join(", ")};
    for (int iRow = 0; iRow < pModel->rowCount(); ++iRow) {
        const QModelIndex first = pModel->index(iRow, 0);
        const auto cell = [&](int iColumn) {
            return first.sibling(iRow, iColumn).data().toString();
        };
        const QVariant brush = first.data(Qt::ForegroundRole);
        const QVariant tick = first.data(Qt::CheckStateRole);
        lines << "serial number " + cell(0) << "name " + cell(1) << "competition " + cell(2)
              << "firmware " + cell(3) << "IMSI " + cell(4)
              << (first.flags() & Qt::ItemIsEnabled ? "enabled" : "disabled")
              << (brush.isValid() ? brush.value<QBrush>().color().name() : "no colour")
              << "tip " + first.data(Qt::ToolTipRole).toString()
              << lightName(first.data(Qt::DecorationRole).value<QIcon>())
              << (tick == QVariant(Qt::Unchecked) ? "unticked" : "not unticked");
        for (int iPeriod = 0; iPeriod < pModel->rowCount(first); ++iPeriod) {
            const QModelIndex period = pModel->index(iPeriod, 0, first);
            lines << "period " + period.data().toString() +
                         QString(", done %1, id %2")
                             .arg(period.data(Qt::UserRole + 1).toInt())
                             .arg(period.data(Qt::UserRole + 2).toInt());
        }
    }
    return lines;
}

QStringList TestBodies::shownGroups()
{
    const QComboBox *pCombo = combo();
    QStringList lines{view()->isEnabled() ? "no logout" : "logged out"};
    for (int i = 0; i < pCombo->count(); ++i)
        lines << pCombo->itemText(i) + ", sent as " + pCombo->itemData(i).toString();
    return lines;
}

QString TestBodies::failureOfGoodReplies()
{
    const JsonValue trackers = JsonValue::object(
        {{"rcode", JsonValue::number("0")},
         {"balance", text("5 EUR")},
         {"trackers", JsonValue::array({JsonValue::object(
                          {{"deviceSn", text("1")},
                           {"state", text("B")},
                           {"groups", JsonValue::array({JsonValue::object({{"id", text("40")}})})},
                           {"activations", JsonValue::array({JsonValue::object(
                                               {{"id", text("9")}, {"done", text("0")}})})}})})}});
    if (!deliverTrackers(trackers.json()) || shownTable() != expectedTable(trackers))
        return "a good list of trackers does not show: " + shownTable().join(" | ");
    const JsonValue groups = JsonValue::object(
        {{"groups", JsonValue::array({JsonValue::object({{"id", text("12")}}),
                                      JsonValue::object({{"group_name", text("B")}})})}});
    if (!deliverGroups(groups.json()) || shownGroups() != expectedGroups(groups))
        return "a good list of groups does not show: " + shownGroups().join(" | ");
    return {};
}

QString TestBodies::bodyNumber(int iBody, const QByteArray &baBody) const
{
    return QString("\n   Seed %1, body %2: %3")
        .arg(m_iSeed)
        .arg(iBody)
        .arg(QString::fromLatin1(baBody.toPercentEncoding(" {}[]\":,;<>()!@$&*=+|/?'#^`\\")));
}

// Every member with every type of value

namespace {
struct NamedValue
{
    const char *name;
    JsonValue value;
};

QVector<NamedValue> valuesOfAllTypes()
{
    return {{"missing", {}},
            {"null", JsonValue::null()},
            {"true", JsonValue::boolean(true)},
            {"false", JsonValue::boolean(false)},
            {"whole number", JsonValue::number("7")},
            {"-99", JsonValue::number("-99")},
            {"fraction", JsonValue::number("-99.5")},
            {"beyond 32 bits", JsonValue::number("4294967197")}, // its lower 32 bits are -99
            {"text", text("A")},
            {"other text", text("E")},
            {"number in a text", text("-99")},
            {"great number in a text", text("4294967297")},
            {"array", JsonValue::array({text("7"), JsonValue::object({{"id", text("8")}})})},
            {"empty array", JsonValue::array({})},
            {"object", JsonValue::object({{"id", text("7")}, {"0", text("8")}})}};
}

/// The value with another one at the end of the path; "0" is the first item of an array.
JsonValue replaced(const JsonValue &whole, const QStringList &path, const JsonValue &value)
{
    if (path.isEmpty())
        return value;
    if (whole.type() == JsonValue::Array) {
        QVector<JsonValue> items = whole.items();
        const JsonValue item = replaced(items.first(), path.mid(1), value);
        items.first() = item.type() == JsonValue::Missing ? JsonValue::null() : item;
        return JsonValue::array(items);
    }
    QVector<Member> members = whole.members();
    for (Member &member : members) {
        if (member.first == path.first())
            member.second = replaced(member.second, path.mid(1), value);
    }
    return JsonValue::object(members);
}

/// A row for each of these members, which stand in the reply with what belongs there.
void addMemberRows(const JsonValue &reply, std::initializer_list<const char *> paths)
{
    QTest::addColumn<JsonValue>("reply");
    const QVector<NamedValue> values = valuesOfAllTypes();
    for (const char *pPath : paths) {
        for (const NamedValue &each : values)
            QTest::addRow("%s: %s", *pPath ? pPath : "all of it", each.name)
                << replaced(reply, QString(pPath).split('.', Qt::SkipEmptyParts), each.value);
    }
}
} // namespace

void TestBodies::trackersMembers_data()
{
    const JsonValue activation = JsonValue::object({{"id", text("31")},
                                                    {"done", text("1")},
                                                    {"startTime", text("2024-03-01")},
                                                    {"endTime", text("2024-03-08")}});
    const JsonValue tracker =
        JsonValue::object({{"deviceSn", text("1000001")},
                           {"TrackerName", text("Fox")},
                           {"compe_id", text("F1")},
                           {"state", text("B")},
                           {"v", text("305")},
                           {"imsi", text("901")},
                           {"p", text("N")},
                           {"groups", JsonValue::array({JsonValue::object({{"id", text("40")}})})},
                           {"activations", JsonValue::array({activation, activation})}});
    addMemberRows(JsonValue::object({{"rcode", JsonValue::number("0")},
                                     {"balance", text("5 EUR")},
                                     {"trackers", JsonValue::array({tracker, tracker})}}),
                  {"",
                   "rcode",
                   "balance",
                   "trackers",
                   "trackers.0",
                   "trackers.0.deviceSn",
                   "trackers.0.TrackerName",
                   "trackers.0.compe_id",
                   "trackers.0.state",
                   "trackers.0.v",
                   "trackers.0.imsi",
                   "trackers.0.p",
                   "trackers.0.groups",
                   "trackers.0.groups.0",
                   "trackers.0.groups.0.id",
                   "trackers.0.activations",
                   "trackers.0.activations.0",
                   "trackers.0.activations.0.id",
                   "trackers.0.activations.0.done",
                   "trackers.0.activations.0.startTime",
                   "trackers.0.activations.0.endTime"});
}

void TestBodies::trackersMembers()
{
    QFETCH(JsonValue, reply);
    QVERIFY(deliverTrackers(reply.json()));
    QCOMPARE(shownTable(), expectedTable(reply));
}

void TestBodies::groupsMembers_data()
{
    const JsonValue group = JsonValue::object({{"id", text("12")}, {"group_name", text("Club A")}});
    addMemberRows(JsonValue::object({{"rcode", JsonValue::number("0")},
                                     {"groups", JsonValue::array({group, group})}}),
                  {"", "rcode", "groups", "groups.0", "groups.0.id", "groups.0.group_name"});
}

void TestBodies::groupsMembers()
{
    QFETCH(JsonValue, reply);
    const int iBefore = server()->requestsTo(TrackersPath).size();
    QVERIFY(deliverGroups(reply.json()));
    QCOMPARE(shownGroups(), expectedGroups(reply));

    const QVector<JsonValue> groups = itemsOf(reply["groups"]);
    const QList<ScriptedServer::Request> requests = server()->requestsTo(TrackersPath);
    QCOMPARE(requests.size(), iBefore + (groups.isEmpty() ? 0 : 1));
    if (!groups.isEmpty()) {
        const QUrlQuery items(QUrl::fromEncoded(requests.last().target()));
        QCOMPARE(items.queryItemValue("idgroup"), sentIdOf(groups.first()["id"]));
        const int iType = combo()->itemData(0).userType();
        const bool bText = groups.first()["id"].type() == JsonValue::Text;
        QCOMPARE(iType == QMetaType::QString, bText); // as it stands: a number is no text here
    }
}

void TestBodies::loginMembers_data()
{
    addMemberRows(JsonValue::object({{"id", JsonValue::number("0")},
                                     {"msg", text("Wrong password")},
                                     {"name", text("Pat")}}),
                  {"", "id", "msg"});
    const JsonValue accepted =
        JsonValue::object({{"id", JsonValue::number("1")}, {"name", text("Pat")}});
    const QVector<NamedValue> values = valuesOfAllTypes();
    for (const NamedValue &each : values)
        QTest::addRow("name: %s", each.name) << replaced(accepted, {"name"}, each.value);
}

void TestBodies::loginMembers()
{
    QFETCH(JsonValue, reply);
    const QStringList boxes = login(reply.json());
    if (wholeOf(reply["id"]) > 0) {
        QCOMPARE(boxes, QStringList());
        QString strName;
        QDebug(&strName) << textOf(reply["name"]);
        QCOMPARE(infoLog().value(1), strName.trimmed());
    } else {
        QCOMPARE(boxes, QStringList(textOf(reply["msg"])));
    }
}

void TestBodies::detailsMembers_data()
{
    addMemberRows(
        JsonValue::object(
            {{"name", text("Fox")}, {"deviceSN", text("1000001")}, {"SN", text("1000002")}}),
        {"", "name", "deviceSN", "SN"});
}

void TestBodies::detailsMembers()
{
    QFETCH(JsonValue, reply);
    QVERIFY(deliverTrackers(R"({"trackers":[{"deviceSn":"1"}]})"));
    QString strLogged;
    QDebug(&strLogged) << textOf(reply["name"]) << ":" << textOf(reply["deviceSN"]);
    QCOMPARE(editDetails(reply.json()),
             QStringList({textOf(reply["name"]), strLogged.trimmed(), textOf(reply["SN"])}));
}

// How deep, in which encoding, how long

void TestBodies::nesting_data()
{
    QTest::addColumn<QByteArray>("open");
    QTest::addColumn<QByteArray>("close");
    QTest::addColumn<int>("depth");
    QTest::addColumn<bool>("read");
    for (const int iDepth : {1022, 1023, 1024, 1025, 1026, 1000000}) {
        const bool bRead = iDepth <= 1024;
        QTest::addRow("%d arrays", iDepth) << QByteArray("[") << QByteArray("]") << iDepth << bRead;
        QTest::addRow("%d objects", iDepth)
            << QByteArray("{\"x\":") << QByteArray("}") << iDepth << bRead;
    }
    QTest::newRow("a million arrays that nobody closes")
        << QByteArray("[") << QByteArray() << 1000000 << false;
}

void TestBodies::nesting()
{
    QFETCH(QByteArray, open);
    QFETCH(QByteArray, close);
    QFETCH(int, depth);
    QFETCH(bool, read);
    const QByteArray baInner = open.repeated(depth - 2) + "[]" + close.repeated(depth - 2);
    const QByteArray baBody = R"({"id":0,"msg":"deep","balance":"deep","trackers":[{}],)"
                              R"("groups":[{"id":"deep"}],"x":)" +
                              baInner + '}';
    QVERIFY(deliverTrackers(baBody));
    QCOMPARE(widget<QLabel>("accountBalance")->text(), QString(read ? "deep" : ""));
    QCOMPARE(model()->rowCount(), read ? 1 : 0);
    QVERIFY(deliverGroups(baBody));
    QCOMPARE(combo()->count(), read ? 1 : 0);
    QCOMPARE(login(baBody), QStringList(read ? "deep" : ""));
    QCOMPARE(failureOfGoodReplies(), QString());
}

void TestBodies::encodings_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("balance");
    const QByteArray baBody = R"({"balance":"é","trackers":[]})";
    QTest::newRow("UTF-8") << baBody << QString::fromUtf8("é");
    QTest::newRow("byte order mark") << "\xEF\xBB\xBF" + baBody << QString::fromUtf8("é");
    QTest::newRow("two byte order marks") << "\xEF\xBB\xBF\xEF\xBB\xBF" + baBody << "";
    QTest::newRow("Latin-1") << QByteArray("{\"balance\":\"\xE9\"}") << "";
    const QString strBody = QString::fromUtf8(baBody);
    QTest::newRow("UTF-16") << QByteArray(reinterpret_cast<const char *>(strBody.utf16()),
                                          2 * strBody.size())
                            << "";
    QTest::newRow("cut within a character") << QByteArray("{\"balance\":\"\xC3\"}") << "";
    QTest::newRow("longer than need be") << QByteArray("{\"balance\":\"\xC0\xAF\"}") << "";
    QTest::newRow("half a surrogate pair in UTF-8")
        << QByteArray("{\"balance\":\"\xED\xA0\x80\"}") << "";
    QTest::newRow("beyond the last character")
        << QByteArray("{\"balance\":\"\xF4\x90\x80\x80\"}") << "";
    QTest::newRow("zero byte behind the end") << baBody + '\0' << "";
    QTest::newRow("zero byte before the beginning") << '\0' + baBody << "";
    QTest::newRow("zero byte between members")
        << QByteArray(R"({"balance":"a",)") + '\0' + R"("rcode":0})"
        << "";
    QTest::newRow("blanks around") << "\r\n\t " + baBody + "\r\n\t " << QString::fromUtf8("é");
    QTest::newRow("escapes") << QByteArray(R"({"balance":"\u00e9\/\"\\\b\f\n\r\t\ud83d\udef0"})")
                             << QString::fromUtf8("é/\"\\\b\f\n\r\t🛰");
    QTest::newRow("escaped key") << QByteArray(R"({"b\u0061lance":"a"})") << "a";
}

void TestBodies::encodings()
{
    QFETCH(QByteArray, body);
    QVERIFY(deliverTrackers(body));
    QTEST(widget<QLabel>("accountBalance")->text(), "balance");
}

void TestBodies::texts_data()
{
    QTest::addColumn<QString>("value");
    QTest::newRow("zero character") << QString("a%1b").arg(QChar(0));
    QTest::newRow("first half of a pair") << QString("a%1b").arg(QChar(0xD800));
    QTest::newRow("second half of a pair") << QString("a%1b").arg(QChar(0xDC00));
    QTest::newRow("halves in the wrong order") << QString(QChar(0xDC00)) + QChar(0xD800);
    QTest::newRow("first half at the end") << QString("a%1").arg(QChar(0xDBFF));
    QTest::newRow("beyond the basic plane") << QString::fromUtf8("🛰🛰");
    QTest::newRow("right to left") << QString::fromUtf8("שלום 12 مرحبا");
    QTest::newRow("right-to-left override") << QString("a%1gnp.exe").arg(QChar(0x202E));
    QTest::newRow("isolates left open") << QString(3, QChar(0x2067)) + "a";
    QTest::newRow("a thousand embeddings") << QString(1000, QChar(0x202B)) + "a";
    QTest::newRow("a thousand marks on a letter") << "a" + QString(1000, QChar(0x0301));
    QTest::newRow("no characters") << QString(QChar(0xFFFE)) + QChar(0xFFFF) + QChar(0xFDD0);
    QTest::newRow("byte order mark") << QString("a%1b").arg(QChar(0xFEFF));
    QTest::newRow("line ends") << QString("a\nb\r\nc%1d%2e").arg(QChar(0x2028)).arg(QChar(0x2029));
    QTest::newRow("control characters") << QString("a\t\b%1%2b").arg(QChar(1)).arg(QChar(0x7F));
    QTest::newRow("markup") << QString("<b>a</b><img src='file:///dev/zero'>");
    QTest::newRow("entities") << QString("&amp;&lt;&#0;");
    QTest::newRow("place markers") << QString("%1 %2 %L1 %n %s");
    QTest::newRow("only blanks") << QString("   ");
}

void TestBodies::texts()
{
    QFETCH(QString, value);
    const JsonValue strange = JsonValue::text(value);
    const JsonValue tracker = JsonValue::object(
        {{"deviceSn", strange},
         {"TrackerName", strange},
         {"compe_id", strange},
         {"state", strange},
         {"v", strange},
         {"imsi", strange},
         {"p", strange},
         {"groups", JsonValue::array({JsonValue::object({{"id", strange}})})},
         {"activations", JsonValue::array({JsonValue::object({{"id", strange},
                                                              {"done", strange},
                                                              {"startTime", strange},
                                                              {"endTime", strange}})})}});
    const JsonValue reply =
        JsonValue::object({{"balance", strange}, {"trackers", JsonValue::array({tracker})}});
    QVERIFY(deliverTrackers(reply.json()));
    QCOMPARE(shownTable(), expectedTable(reply));
    view()->expandAll();
    QVERIFY(!window()->grab().isNull()); // painted, too

    const JsonValue details =
        JsonValue::object({{"name", strange}, {"deviceSN", strange}, {"SN", text("1")}});
    QCOMPARE(editDetails(details.json()).value(0), value);
    const JsonValue groups = JsonValue::object(
        {{"groups",
          JsonValue::array({JsonValue::object({{"id", text("1")}, {"group_name", strange}})})}});
    QVERIFY(deliverGroups(groups.json()));
    QCOMPARE(shownGroups(), expectedGroups(groups));
    QVERIFY(!window()->grab().isNull());
    QCOMPARE(login(JsonValue::object({{"msg", strange}}).json()), QStringList(value));
}

void TestBodies::hugeTexts_data()
{
    QTest::addColumn<JsonValue>("reply");
    const JsonValue letters = JsonValue::text(QString(HugeText, 'W'));
    const JsonValue words = JsonValue::text(QString("word ").repeated(HugeText / 5));
    const auto trackers = [](const JsonValue &tracker) {
        return JsonValue::object({{"trackers", JsonValue::array({tracker})}});
    };
    for (const char *pName : {"deviceSn", "TrackerName", "compe_id", "state", "v", "imsi", "p"})
        QTest::newRow(pName) << trackers(JsonValue::object({{pName, letters}}));
    QTest::newRow("words for a name") << trackers(JsonValue::object({{"TrackerName", words}}));
    QTest::newRow("ids of groups") << trackers(
        JsonValue::object({{"groups", JsonValue::array({JsonValue::object({{"id", letters}})})}}));
    for (const char *pName : {"id", "done", "startTime", "endTime"})
        QTest::addRow("activation's %s", pName) << trackers(JsonValue::object(
            {{"activations", JsonValue::array({JsonValue::object({{pName, letters}})})}}));
    QTest::newRow("balance") << JsonValue::object({{"balance", letters}});
    QTest::newRow("words for a balance") << JsonValue::object({{"balance", words}});
    QTest::newRow("a megabyte nobody asked for") << JsonValue::object({{"x", letters}});
}

void TestBodies::hugeTexts()
{
    QFETCH(JsonValue, reply);
    QVERIFY(deliverTrackers(reply.json()));
    view()->expandAll();
    QVERIFY(!window()->grab().isNull());
    QVERIFY(shownTable() == expectedTable(reply)); // not with a megabyte in the report
    QCOMPARE(failureOfGoodReplies(), QString());
}

void TestBodies::hugeBox_data()
{
    QTest::addColumn<QString>("message");
    QTest::newRow("letters") << QString(HugeMessage, 'W');
    QTest::newRow("words") << QString("word ").repeated(HugeMessage / 5);
    QTest::newRow("lines") << QString("line\n").repeated(HugeMessage / 5);
    QTest::newRow("markup") << QString("<b>a</b>").repeated(HugeMessage / 8);
}

void TestBodies::hugeBox()
{
    QFETCH(QString, message);
    const QStringList boxes = login(JsonValue::object({{"msg", JsonValue::text(message)}}).json());
    QCOMPARE(boxes.size(), 1);
    QVERIFY(boxes.first() == message); // not with all of it in the report
    QCOMPARE(failureOfGoodReplies(), QString());
}

void TestBodies::severalTimesTheSameMember()
{
    QVERIFY(deliverTrackers(R"({"rcode":-99,"balance":"1","balance":"2","rcode":0,"trackers":7,)"
                            R"("trackers":[{"deviceSn":"1","deviceSn":"2","state":null,)"
                            R"("state":"A"}]})"));
    QCOMPARE(widget<QLabel>("accountBalance")->text(), QString("2"));
    QVERIFY(view()->isEnabled());
    QCOMPARE(model()->rowCount(), 1);
    QCOMPARE(model()->item(0)->text(), QString("2"));
    QVERIFY(model()->item(0)->isEnabled());
}

// Bodies by chance

void TestBodies::randomTrackers()
{
    Writer writer(m_iSeed);
    for (int i = 0; i < RandomBodies; ++i) {
        const JsonValue reply = writer.trackersReply();
        const QByteArray baBody = reply.json(writer.random());
        QVERIFY2(deliverTrackers(baBody), qPrintable(bodyNumber(i, baBody)));
        const QStringList shown = shownTable();
        const QStringList expected = expectedTable(reply);
        if (shown != expected)
            QFAIL(qPrintable(shown.join(" | ") + "\n   " + expected.join(" | ") +
                             bodyNumber(i, baBody)));
    }
    QCOMPARE(failureOfGoodReplies(), QString());
}

void TestBodies::randomGroups()
{
    Writer writer(m_iSeed);
    for (int i = 0; i < RandomBodies; ++i) {
        const JsonValue reply = writer.groupsReply();
        const QByteArray baBody = reply.json(writer.random());
        QVERIFY2(deliverGroups(baBody), qPrintable(bodyNumber(i, baBody)));
        const QStringList shown = shownGroups();
        const QStringList expected = expectedGroups(reply);
        if (shown != expected)
            QFAIL(qPrintable(shown.join(" | ") + "\n   " + expected.join(" | ") +
                             bodyNumber(i, baBody)));
    }
    QCOMPARE(failureOfGoodReplies(), QString());
}

void TestBodies::randomLogins()
{
    Writer writer(m_iSeed);
    for (int i = 0; i < RandomBoxes; ++i) {
        const JsonValue reply = writer.loginReply();
        const QByteArray baBody = reply.json(writer.random());
        const QStringList boxes =
            wholeOf(reply["id"]) > 0 ? QStringList() : QStringList(textOf(reply["msg"]));
        QVERIFY2(login(baBody) == boxes, qPrintable(bodyNumber(i, baBody)));
    }
    QCOMPARE(failureOfGoodReplies(), QString());
}

void TestBodies::randomDetails()
{
    QVERIFY(deliverTrackers(R"({"trackers":[{"deviceSn":"1"}]})"));
    Writer writer(m_iSeed);
    for (int i = 0; i < RandomBoxes; ++i) {
        const JsonValue reply = writer.detailsReply();
        const QByteArray baBody = reply.json(writer.random());
        QString strLogged;
        QDebug(&strLogged) << textOf(reply["name"]) << ":" << textOf(reply["deviceSN"]);
        const QStringList seen = editDetails(baBody);
        QVERIFY2(seen.mid(0, 2) == QStringList({textOf(reply["name"]), strLogged.trimmed()}),
                 qPrintable(seen.join(" | ") + bodyNumber(i, baBody)));
    }
    QCOMPARE(failureOfGoodReplies(), QString());
}

void TestBodies::damagedTrackers()
{
    Writer writer(m_iSeed);
    for (int i = 0; i < RandomBodies; ++i) {
        const QByteArray baBody = writer.damaged(writer.trackersReply().json(writer.random()));
        QVERIFY2(deliverTrackers(baBody), qPrintable(bodyNumber(i, baBody)));
        const QJsonArray trackers =
            QJsonDocument::fromJson(baBody).object().value("trackers").toArray();
        const QStandardItemModel *pModel = model();
        QVERIFY2(pModel->rowCount() == trackers.size(), qPrintable(bodyNumber(i, baBody)));
        QVERIFY2(shownTable().contains("Serial Number, Tracker Name, CompeId, Firmware, Imsi"),
                 qPrintable(bodyNumber(i, baBody)));
        QVERIFY2(shownTable().contains(QString("count (%1)").arg(trackers.size())),
                 qPrintable(bodyNumber(i, baBody)));
        for (int iRow = 0; iRow < trackers.size(); ++iRow)
            QVERIFY2(pModel->item(iRow)->rowCount() ==
                         trackers.at(iRow).toObject().value("activations").toArray().size(),
                     qPrintable(bodyNumber(i, baBody)));
    }
    QCOMPARE(failureOfGoodReplies(), QString());
}

void TestBodies::damagedGroups()
{
    Writer writer(m_iSeed);
    for (int i = 0; i < RandomBodies; ++i) {
        const QByteArray baBody = writer.damaged(writer.groupsReply().json(writer.random()));
        QVERIFY2(deliverGroups(baBody), qPrintable(bodyNumber(i, baBody)));
        const QJsonArray groups =
            QJsonDocument::fromJson(baBody).object().value("groups").toArray();
        QVERIFY2(combo()->count() == groups.size(), qPrintable(bodyNumber(i, baBody)));
    }
    QCOMPARE(failureOfGoodReplies(), QString());
}

VELTRANO_TEST_MAIN(TestBodies)
#include "tst_bodies.moc"
