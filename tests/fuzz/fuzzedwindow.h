#ifndef TESTS_FUZZ_FUZZEDWINDOW_H
#define TESTS_FUZZ_FUZZEDWINDOW_H

// The window as the targets play with it: the real one, on no screen and with no network, and what
// must be seen of it after each reply.

#include "window/mainwindow.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QScopedPointer>
#include <QString>
#include <QUrl>

#include <utility>

class QComboBox;
class QDialog;
class QEvent;
class QNetworkAccessManager;
class QNetworkReply;
class QStandardItemModel;
class QTreeView;

/// Makes the application object, with settings of its own and a log that must stay without
/// warnings. Once per process, before everything else here.
void prepareWindows(int &iCount, char **pArguments);

/// Deletes the application object; the windows must be gone.
void endWindows();

/// Closes every dialog and box as soon as it is shown, and remembers it.
class DialogAnswers : public QObject
{
    Q_OBJECT

public:
    enum Answer { Cancel, Accept, AcceptEdited };

    DialogAnswers();

    /// How the dialogs that open from now on are answered; forgets those that were seen.
    void expect(Answer answer);

    struct Seen
    {
        QString title;
        QString text; ///< a box's text, or the name in the dialog
        bool bBox = false;
        bool bPlain = false; ///< a box whose text is not taken for rich text
    };
    const QList<Seen> &seen() const { return m_seen; }
    /// What the operator made of a name.
    static QString edited(const QString &strName);

    bool eventFilter(QObject *pWatched, QEvent *pEvent) override;

private:
    void answer(QDialog *pDialog);

    Answer m_answer = Cancel;
    QList<Seen> m_seen;
};

/// A window that can be used for many replies, one after the other.
class FuzzedWindow
{
public:
    FuzzedWindow();
    ~FuzzedWindow();
    FuzzedWindow(const FuzzedWindow &) = delete;
    FuzzedWindow &operator=(const FuzzedWindow &) = delete;

    MainWindow *window() const { return m_pWindow.data(); }
    DialogAnswers *dialogs() { return &m_dialogs; }
    QNetworkAccessManager *network() const;
    QTreeView *view() const;
    QStandardItemModel *model() const;
    QComboBox *groups() const;
    template <typename Widget>
    Widget *widget(const char *pName) const
    {
        return m_pWindow->findChild<Widget *>(pName);
    }

    /// As after a logout; no request is under way.
    void logOut();
    /// As after a login, with two groups and three trackers.
    void fill();

    /// Shows the window for a moment. It is hidden otherwise, for laying out takes far longer than
    /// all that is looked for.
    void paint();

    /// Lets a reply with this body finish into the slot, whose signature is given as SLOT() gives
    /// it, and gives the addresses that the window asked meanwhile. None of them is answered.
    QList<QUrl> deliver(const QByteArray &baBody, const char *pSlot, bool bDeletesReply);

    /// What the window asked the service for since the last call, oldest first.
    QList<QUrl> takeRequests() { return std::exchange(m_requests, {}); }
    /// Whether nothing is under way any more.
    bool isIdle() const;
    /// Gives up what is under way, and what the window keeps of what was.
    void giveUpReplies();

private:
    DialogAnswers m_dialogs;
    QScopedPointer<MainWindow> m_pWindow;
    QPointer<QStandardItemModel> m_pModel;
    QList<QUrl> m_requests;
};

#endif // TESTS_FUZZ_FUZZEDWINDOW_H
