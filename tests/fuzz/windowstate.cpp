// A second reading of the service's protocol: from a reply's members to what the operator sees.

#include "windowstate.h"

#include "target.h"

#include <QBrush>
#include <QCalendarWidget>
#include <QComboBox>
#include <QDialog>
#include <QIcon>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTreeView>
#include <QUrlQuery>

#include <cmath>
#include <cstdio>
#include <limits>

namespace {
const char *const Headers[] = {"Serial Number", "Tracker Name", "CompeId", "Firmware", "Imsi"};
constexpr int LongestName = 32767; // of a line edit
constexpr uint ExtendedProfile = 0xffdd5500;

// Reading

/// Whole numbers only, and only those of 32 bits.
int number(const QJsonValue &value)
{
    const double dValue = value.toDouble(0.5);
    const bool bFits = dValue >= std::numeric_limits<int>::min() &&
                       dValue <= std::numeric_limits<int>::max() && std::floor(dValue) == dValue;
    return bFits ? static_cast<int>(dValue) : 0;
}

QString text(const QJsonValue &value)
{
    return value.isString() ? value.toString() : QString();
}

/// A number that is written as a text, with a sign or without; blanks around it are no fault.
int writtenNumber(const QJsonValue &value)
{
    const QString strText = text(value).trimmed();
    const bool bSigned = strText.startsWith('-') || strText.startsWith('+');
    const bool bNegative = strText.startsWith('-');
    qint64 iNumber = 0;
    for (int i = bSigned ? 1 : 0; i < strText.size(); ++i) {
        const int iDigit = strText[i].unicode() - '0';
        if (iDigit < 0 || iDigit > 9)
            return 0;
        iNumber = iNumber * 10 + iDigit;
        if (iNumber > qint64(std::numeric_limits<int>::max()) + (bNegative ? 1 : 0))
            return 0;
    }
    return static_cast<int>(bNegative ? -iNumber : iNumber);
}

// The table, as lines

QString line(const QString &strText, int iFlags, const QString &strMore)
{
    return QString("%1 flags=%2 %3").arg(strText).arg(iFlags).arg(strMore);
}

QImage picture(const QIcon &icon)
{
    return icon.pixmap(16).toImage();
}

QString lightOf(const QIcon &icon)
{
    static const QImage green = picture(QIcon(":/greenlight.png"));
    static const QImage yellow = picture(QIcon(":/yellowlight.png"));
    static const QImage red = picture(QIcon(":/redlight.png"));
    const QImage seen = picture(icon);
    if (seen == green)
        return "green";
    if (seen == yellow)
        return "yellow";
    return seen == red ? "red" : "no light";
}

QString moreOf(const QModelIndex &index)
{
    QStringList more;
    const QVariant tick = index.data(Qt::CheckStateRole);
    if (tick.isValid())
        more << "tick=" + tick.toString();
    const QVariant tip = index.data(Qt::ToolTipRole);
    if (tip.isValid())
        more << "tip=" + tip.toString();
    const QVariant light = index.data(Qt::DecorationRole);
    if (light.isValid())
        more << lightOf(qvariant_cast<QIcon>(light));
    const QVariant colour = index.data(Qt::ForegroundRole);
    if (colour.isValid())
        more << QString::number(qvariant_cast<QBrush>(colour).color().rgba(), 16);
    for (int iRole = Qt::UserRole; iRole < Qt::UserRole + 4; ++iRole) {
        const QVariant data = index.data(iRole);
        if (data.isValid())
            more << QString("%1:%2").arg(iRole - Qt::UserRole).arg(data.toString());
    }
    return more.join(' ');
}

void appendItems(const QStandardItemModel *pModel, const QModelIndex &parent, QStringList &lines)
{
    for (int iRow = 0; iRow < pModel->rowCount(parent); ++iRow) {
        for (int iColumn = 0; iColumn < pModel->columnCount(parent); ++iColumn) {
            const QModelIndex index = pModel->index(iRow, iColumn, parent);
            lines << QString("%1.%2 ").arg(iRow).arg(iColumn) +
                         line(index.data().toString(), int(index.flags()), moreOf(index));
            appendItems(pModel, index, lines);
        }
    }
}

QStringList linesOf(const QStandardItemModel *pModel)
{
    QStringList lines;
    for (int iColumn = 0; iColumn < pModel->columnCount(); ++iColumn)
        lines << pModel->headerData(iColumn, Qt::Horizontal).toString();
    appendItems(pModel, QModelIndex(), lines);
    return lines;
}

constexpr int ItemFlags = Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable |
                          Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled;

QStringList activationLines(const QJsonArray &activations, bool *pPending)
{
    QStringList lines;
    for (int i = 0; i < activations.size(); ++i) {
        const QJsonObject activation = activations[i].toObject();
        const int iDone = writtenNumber(activation["done"]);
        const QString strMore =
            QString("1:%1 2:%2").arg(iDone).arg(writtenNumber(activation["id"]));
        *pPending = *pPending || iDone == 0;
        lines << QString("%1.0 ").arg(i) +
                     line(text(activation["startTime"]) + " -> " + text(activation["endTime"]),
                          ItemFlags & ~Qt::ItemIsEditable, strMore);
    }
    return lines;
}

QString serialNumberLine(const QJsonObject &tracker, bool bPending)
{
    const QJsonArray groups = tracker["groups"].toArray();
    QStringList ids;
    for (const QJsonValue &group : groups)
        ids << text(group.toObject()["id"]);
    QStringList more{"tick=0", "tip=" + (ids.isEmpty() ? "" : "other groups:" + ids.join(','))};
    const QString strIdle = bPending ? "yellow" : "red";
    more << (text(tracker["state"]) == "A" ? "green" : strIdle);
    if (text(tracker["p"]) == "E")
        more << QString::number(ExtendedProfile, 16);
    int iFlags = (ItemFlags & ~Qt::ItemIsEditable) | Qt::ItemIsUserCheckable;
    if (tracker.contains("state") && tracker["state"].isNull())
        iFlags &= ~Qt::ItemIsEnabled;
    return line(text(tracker["deviceSn"]), iFlags, more.join(' '));
}

QStringList trackerLines(int iRow, const QJsonObject &tracker)
{
    bool bPending = false;
    const QStringList activations = activationLines(tracker["activations"].toArray(), &bPending);
    const QString strVersion = text(tracker["v"]);
    const QString strFirmware =
        strVersion.isEmpty() ? " ." : strVersion.at(0) + QString(".") + strVersion.mid(1);
    const QStringList others{text(tracker["TrackerName"]), text(tracker["compe_id"]), strFirmware,
                             text(tracker["imsi"])};

    QStringList lines{QString("%1.0 ").arg(iRow) + serialNumberLine(tracker, bPending)};
    lines += activations;
    for (int i = 0; i < others.size(); ++i)
        lines << QString("%1.%2 ").arg(iRow).arg(i + 1) + line(others[i], ItemFlags, QString());
    return lines;
}

// What a reply makes of the window

struct Expected
{
    WindowState state;
    QStringList paths; // of the requests
};

void logOut(WindowState &state)
{
    state.bLoggedIn = false;
    state.bCredentialsEnabled = true;
    state.bSessionEnabled = false;
    state.strPassword.clear();
    state.strNumber.clear();
    state.groups.clear();
    state.table.clear();
    state.iGroup = -1;
}

void askForTrackers(Expected &expected)
{
    expected.state.table.clear();
    expected.state.strNumber.clear();
    expected.state.bBarHidden = false;
    expected.paths << "/bsGetGroupTrackers.php";
}

void login(Expected &expected, const QJsonObject &reply)
{
    expected.state.bLoginEnabled = true;
    if (number(reply["id"]) < 1)
        return;
    expected.state.bLoggedIn = true;
    expected.state.bCredentialsEnabled = false;
    expected.state.bSessionEnabled = true;
    expected.paths << "/bsGetMyGroups.php";
}

void groups(Expected &expected, const QJsonObject &reply)
{
    WindowState &state = expected.state;
    state.groups.clear();
    state.iGroup = -1;
    if (number(reply["rcode"]) == -99)
        logOut(state);
    const QJsonArray groups = reply["groups"].toArray();
    for (const QJsonValue &value : groups) {
        const QJsonObject group = value.toObject();
        const QString strId = group["id"].toVariant().toString();
        state.groups << text(group["id"]) + " - " + text(group["group_name"]) + " [" + strId + "]";
    }
    if (!state.groups.isEmpty()) {
        state.iGroup = 0;
        askForTrackers(expected);
    }
}

void trackers(Expected &expected, const QJsonObject &reply)
{
    WindowState &state = expected.state;
    if (number(reply["rcode"]) == -99)
        logOut(state);
    state.bBarHidden = true;
    state.bHeaderHidden = false;
    state.strBalance = text(reply["balance"]);
    state.table.clear();
    for (const char *pHeader : Headers)
        state.table << pHeader;
    const QJsonArray trackers = reply["trackers"].toArray();
    for (int i = 0; i < trackers.size(); ++i)
        state.table += trackerLines(i, trackers[i].toObject());
    state.strNumber = '(' + QString::number(trackers.size()) + ')';
}

Expected after(ReplyKind kind, const QJsonObject &reply, DialogAnswers::Answer answer,
               const WindowState &before)
{
    Expected expected{before, {}};
    switch (kind) {
    case ReplyKind::Login:
        login(expected, reply);
        break;
    case ReplyKind::Groups:
        groups(expected, reply);
        break;
    case ReplyKind::Trackers:
        trackers(expected, reply);
        break;
    case ReplyKind::Details:
        if (answer != DialogAnswers::Cancel)
            expected.paths << "/bsGetGroupTrackerInfo.php";
        break;
    case ReplyKind::SavedDetails:
        break;
    case ReplyKind::Command:
        expected.state.bBarHidden = true;
        if (before.iGroup >= 0)
            askForTrackers(expected);
        break;
    }
    return expected;
}

// Comparing

void mustBeEqual(const QString &strSeen, const QString &strExpected, const char *pSentence)
{
    if (strSeen != strExpected)
        std::fprintf(stderr, "seen:     %s\nexpected: %s\n", qPrintable(strSeen),
                     qPrintable(strExpected));
    mustHold(strSeen == strExpected, pSentence);
}

void mustBeEqual(const QStringList &seen, const QStringList &expected, const char *pSentence)
{
    mustBeEqual(seen.join('\n'), expected.join('\n'), pSentence);
}

void compare(const WindowState &seen, const WindowState &expected)
{
    mustHold(seen.bLoggedIn == expected.bLoggedIn, "the login button says who is logged in");
    mustHold(seen.bLoginEnabled == expected.bLoginEnabled, "the login button can be pressed");
    mustHold(seen.bCredentialsEnabled == expected.bCredentialsEnabled,
             "address and password are open while nobody is logged in");
    mustHold(seen.bSessionEnabled == expected.bSessionEnabled,
             "groups, calendar and table are open in a session");
    mustHold(seen.bBarHidden == expected.bBarHidden, "the bar shows while trackers are asked for");
    mustHold(seen.bHeaderHidden == expected.bHeaderHidden, "the header shows from a list on");
    mustHold(seen.iGroup == expected.iGroup, "the first group is current");
    mustBeEqual(seen.strPassword, expected.strPassword, "a logout empties the password");
    mustBeEqual(seen.strNumber, expected.strNumber, "the number of trackers");
    mustBeEqual(seen.strBalance, expected.strBalance, "the balance is shown as it was sent");
    mustBeEqual(seen.groups, expected.groups, "the groups");
    mustBeEqual(seen.table, expected.table, "the table");
}

bool isPlain(const QString &strText)
{
    for (const QChar c : strText) {
        if (c < ' ' || c > '~' || c == '%')
            return false;
    }
    return true;
}

/// Of texts that the framework sends as they are.
void mustCarry(const QUrlQuery &query, const char *pName, const QString &strText)
{
    mustHold(query.hasQueryItem(pName), "a request has all its items");
    if (isPlain(strText))
        mustBeEqual(query.queryItemValue(pName, QUrl::FullyDecoded), strText, pName);
}

void checkRequests(const Effects &effects, const QStringList &paths)
{
    QStringList seen;
    for (const QUrl &url : effects.requests) {
        mustBeEqual(url.scheme() + "://" + url.authority(), "https://service.invalid",
                    "every request goes to the service");
        seen << url.path();
    }
    mustBeEqual(seen, paths, "what is asked for next");
}

void checkDialogs(ReplyKind kind, const QJsonObject &reply, const FuzzedWindow &window,
                  const Effects &effects)
{
    const bool bRefused = kind == ReplyKind::Login && number(reply["id"]) < 1;
    const int iExpected = bRefused || kind == ReplyKind::Details ? 1 : 0;
    mustHold(effects.dialogs.size() == iExpected, "a refused login and details open one dialog");
    mustHold(!window.window()->findChild<QDialog *>(), "a closed dialog is deleted");
    if (iExpected == 0)
        return;
    const DialogAnswers::Seen &seen = effects.dialogs.first();
    mustHold(seen.bBox == bRefused, "the box is for the login, the dialog for details");
    if (bRefused) {
        mustBeEqual(seen.title, "Error", "the box's title");
        mustBeEqual(seen.text, text(reply["msg"]), "the box shows what the service says");
        mustHold(seen.bPlain, "the box shows a plain text");
    } else {
        mustBeEqual(seen.text, text(reply["name"]).left(LongestName), "the dialog shows the name");
    }
}

void checkItems(ReplyKind kind, const QJsonObject &reply, DialogAnswers::Answer answer,
                const FuzzedWindow &window, const Effects &effects)
{
    if (effects.requests.isEmpty())
        return;
    const QUrlQuery query(effects.requests.first());
    if (kind == ReplyKind::Groups || kind == ReplyKind::Command)
        mustCarry(query, "idgroup", window.groups()->currentData().toString());
    if (kind == ReplyKind::Details) {
        const QString strName = effects.dialogs.first().text;
        mustCarry(query, "fx", "saveInfo");
        mustCarry(query, "groupId", window.groups()->currentText());
        mustCarry(query, "SN", text(reply["SN"]));
        mustCarry(query, "name",
                  answer == DialogAnswers::AcceptEdited ? DialogAnswers::edited(strName) : strName);
    }
}
/// Which reply a request of the window's own brings, other than the login.
ReplyKind kindOf(const QString &strPath)
{
    if (strPath == "/bsGetMyGroups.php")
        return ReplyKind::Groups;
    return strPath == "/bsGetGroupTrackers.php" ? ReplyKind::Trackers : ReplyKind::SavedDetails;
}

void check(ReplyKind kind, const QJsonObject &reply, const Expected &expected,
           const FuzzedWindow &window, const Effects &effects)
{
    compare(WindowState::of(window), expected.state);
    if (kind == ReplyKind::Trackers)
        mustHold(window.view()->columnWidth(0) == 300, "serial numbers have their width");
    checkRequests(effects, expected.paths);
    checkDialogs(kind, reply, window, effects);
}
} // namespace

const char *slotOf(ReplyKind kind)
{
    switch (kind) {
    case ReplyKind::Login:
        return SLOT(onLoginResult());
    case ReplyKind::Groups:
        return SLOT(onGetGroupsResult());
    case ReplyKind::Trackers:
        return SLOT(onGetTrackersResult());
    case ReplyKind::Details:
        return SLOT(onGotTrackerDetail());
    case ReplyKind::SavedDetails:
        return SLOT(onSavedTrackerDetail());
    case ReplyKind::Command:
        break;
    }
    return SLOT(onDoneActivations());
}

bool deletesReply(ReplyKind kind)
{
    return kind != ReplyKind::Details && kind != ReplyKind::SavedDetails;
}

bool showsProgress(ReplyKind kind)
{
    return kind == ReplyKind::Trackers || kind == ReplyKind::Details ||
           kind == ReplyKind::SavedDetails;
}

WindowState WindowState::of(const FuzzedWindow &window)
{
    WindowState state;
    const auto *pLogin = window.widget<QPushButton>("loginButton");
    const auto *pPassword = window.widget<QLineEdit>("passwordLineEdit");
    const QComboBox *pGroups = window.groups();
    state.bLoggedIn = pLogin->text() == "Logout";
    state.bLoginEnabled = pLogin->isEnabled();
    state.bCredentialsEnabled = pPassword->isEnabled();
    mustHold(window.widget<QLineEdit>("userLineEdit")->isEnabled() == pPassword->isEnabled(),
             "address and password are open together");
    state.bSessionEnabled = pGroups->isEnabled();
    mustHold(window.widget<QCalendarWidget>("calendarWidget")->isEnabled() == pGroups->isEnabled(),
             "groups and calendar are open together");
    mustHold(window.view()->isEnabled() == pGroups->isEnabled(),
             "groups and table are open together");
    state.bBarHidden = window.widget<QProgressBar>("progressBar")->isHidden();
    state.bHeaderHidden = window.view()->isHeaderHidden();
    state.iGroup = pGroups->currentIndex();
    state.strPassword = pPassword->text();
    state.strNumber = window.widget<QLabel>("numberTrackers")->text();
    state.strBalance = window.widget<QLabel>("accountBalance")->text();
    for (int i = 0; i < pGroups->count(); ++i)
        state.groups << pGroups->itemText(i) + " [" + pGroups->itemData(i).toString() + "]";
    state.table = linesOf(window.model());
    return state;
}

void checkReply(ReplyKind kind, const QByteArray &baBody, DialogAnswers::Answer answer,
                const WindowState &before, const FuzzedWindow &window, const Effects &effects)
{
    const QJsonObject reply = QJsonDocument::fromJson(baBody).object();
    const Expected expected = after(kind, reply, answer, before);
    check(kind, reply, expected, window, effects);
    checkItems(kind, reply, answer, window, effects);
}

void checkReplyAndFailures(ReplyKind kind, const QByteArray &baBody, DialogAnswers::Answer answer,
                           const WindowState &before, const FuzzedWindow &window,
                           const Effects &effects)
{
    const QJsonObject reply = QJsonDocument::fromJson(baBody).object();
    Expected expected = after(kind, reply, answer, before);
    for (int i = 0; i < expected.paths.size(); ++i) {
        const Expected next = after(kindOf(expected.paths[i]), {}, answer, expected.state);
        expected.state = next.state;
        expected.paths += next.paths;
    }
    check(kind, reply, expected, window, effects);
}
