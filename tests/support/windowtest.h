#ifndef TESTS_SUPPORT_WINDOWTEST_H
#define TESTS_SUPPORT_WINDOWTEST_H

#include <QApplication>
#include <QByteArray>
#include <QList>
#include <QMap>
#include <QMessageBox>
#include <QSslCertificate>
#include <QString>
#include <QStringList>
#include <QTest>

#include <functional>

/// The one child of that name, which must be there.
template <typename Child>
Child *childOf(QObject *pParent, const char *pName)
{
    auto *pChild = pParent->findChild<Child *>(pName);
    if (!pChild)
        qFatal("no %s of the expected class", pName);
    return pChild;
}

// What the build decides for the program, a test decides here.

/// The client's requests go to this port of localhost from now on.
void setServicePort(quint16 iPort);
/// The same for another host.
void setServiceHost(const QString &strHost, quint16 iPort);
/// The certificates that windows made from now on add to the trust anchors; at first the tests' CA.
void setExtraCaCertificates(const QList<QSslCertificate> &certificates);
/// The CA that signed the scripted server's "trusted" certificate.
QSslCertificate testCa();

// The log of a test's function

/// Empties it; what is said from now on is kept.
void startLog();
/// Info messages since it was started or cleared of them, as they would be printed.
QStringList infoLog();
void clearInfoLog();
/// Messages above info level; nothing but a new start takes them away.
QStringList warningLog();

// Message boxes

Q_DECLARE_METATYPE(QMessageBox::StandardButton)

/// What a message box showed.
struct SeenBox
{
    QString title;
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QMessageBox::StandardButtons buttons = QMessageBox::NoButton;
    bool hasDefaultButton = false;
    Qt::TextFormat textFormat = Qt::AutoText;
    QString parentName; // object name of the box's parent widget

    bool operator==(const SeenBox &other) const;
};

/// Answers the message boxes that open from its making to its end, with one button each, and keeps
/// what they showed. Make it before the click that opens the box.
class BoxAnswers
{
public:
    /// One button a box, in order; a further box is closed by Escape and counted all the same.
    explicit BoxAnswers(const QList<QMessageBox::StandardButton> &buttons);
    ~BoxAnswers();
    BoxAnswers(const BoxAnswers &) = delete;
    BoxAnswers &operator=(const BoxAnswers &) = delete;

    const QList<SeenBox> &seen() const;
    /// Run while the next box is open, before it is answered.
    void whileOpen(const std::function<void()> &action);

private:
    class Private;
    Private *d;
};

// Whatever else opens in a loop of its own: menus, dialogs

/// Acts once, on the next popup or modal window that opens, while it is open. Make it before the
/// click that opens the window; unlike BoxAnswers it closes nothing itself.
class WhileOpen
{
public:
    explicit WhileOpen(const std::function<void(QWidget *pOpen)> &action);
    ~WhileOpen();
    WhileOpen(const WhileOpen &) = delete;
    WhileOpen &operator=(const WhileOpen &) = delete;

    bool hasActed() const;

private:
    class Private;
    Private *d;
};

// Other systems

/// Runs functions of this test in a process of its own, with these further variables, which the
/// command starts, if there is one. Returns what they printed if one failed, and nothing if all
/// passed.
QString failureInProcess(const QStringList &functions, const QMap<QString, QString> &variables,
                         QStringList command = {});
/// The same for one function under another locale of the system.
QString failureUnderLocale(const QString &strFunction, const QString &strLocale,
                           QMap<QString, QString> variables);

/// Prepares the process: own settings folder, own organization. Called before the application
/// object exists.
void prepareTestProcess();

/// The offscreen platform never deletes its screen; from here on the leak sanitizer sees that it is
/// not lost. Once per application object.
void keepScreenReachable();

/// Waits until the framework's network threads are gone for the system, too; false where the limit
/// came first. True at once on a system that does not list its threads.
bool networkThreadsEnd(int iLimitMs);

/// The last call of main(), when the application object is gone. Returns the exit code: another one
/// than the tests' where a network thread would still be there when the process ends. It and
/// OpenSSL's own clean-up would then free the same memory.
int endTestProcess(int iResult);

#define VELTRANO_TEST_MAIN(TestObject)                                                             \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        prepareTestProcess();                                                                      \
        int iResult = 0;                                                                           \
        {                                                                                          \
            QApplication app(argc, argv);                                                          \
            keepScreenReachable();                                                                 \
            TestObject test;                                                                       \
            iResult = QTest::qExec(&test, argc, argv);                                             \
        }                                                                                          \
        return endTestProcess(iResult);                                                            \
    }

#endif // TESTS_SUPPORT_WINDOWTEST_H
