#ifndef TESTS_FUZZ_WINDOWSTATE_H
#define TESTS_FUZZ_WINDOWSTATE_H

// What is to be seen of the window, and what each reply must make of it.

#include "fuzzedwindow.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

enum class ReplyKind { Login, Groups, Trackers, Details, SavedDetails, Command };

/// The signature of the kind's result slot, as SLOT() gives it.
const char *slotOf(ReplyKind kind);
/// Whether the result slot deletes its reply.
bool deletesReply(ReplyKind kind);

/// All that a reply can change.
struct WindowState
{
    bool bLoggedIn = false;
    bool bLoginEnabled = true;
    bool bCredentialsEnabled = true;
    bool bSessionEnabled = true; ///< group list, calendar and table
    bool bBarHidden = true;
    bool bHeaderHidden = true;
    int iGroup = -1;
    QString strPassword;
    QString strNumber;
    QString strBalance;
    QStringList groups; ///< a line for each
    QStringList table;  ///< a line for each item

    static WindowState of(const FuzzedWindow &window);
};

/// What a reply's result slot did besides: what it opened and what it asked for.
struct Effects
{
    QList<DialogAnswers::Seen> dialogs;
    QList<QUrl> requests;
};

/// Whether the progress of such a reply is shown.
bool showsProgress(ReplyKind kind);

/// Ends the process where the window is not as the reply's body asks for.
void checkReply(ReplyKind kind, const QByteArray &baBody, DialogAnswers::Answer answer,
                const WindowState &before, const FuzzedWindow &window, const Effects &effects);

/// The same where everything that was asked for then has been answered with nothing.
void checkReplyAndFailures(ReplyKind kind, const QByteArray &baBody, DialogAnswers::Answer answer,
                           const WindowState &before, const FuzzedWindow &window,
                           const Effects &effects);

#endif // TESTS_FUZZ_WINDOWSTATE_H
