// What every test of the window needs: its own settings, a service on a free port, the log, and
// someone who answers message boxes, menus and dialogs.

#include "windowtest.h"

#include "service/extraca.h"
#include "service/servicehost.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QMutex>
#include <QMutexLocker>
#include <QProcess>
#include <QProcessEnvironment>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <utility>

namespace {
constexpr int BoxPollMs = 5;
constexpr int ProcessMs = 30000;

QString &service()
{
    static QString strService = "localhost:1"; // nobody listens there
    return strService;
}

QList<QSslCertificate> &extraCertificates()
{
    static QList<QSslCertificate> certificates{testCa()};
    return certificates;
}

struct Log
{
    QMutex mutex; // the framework's network thread logs too
    QStringList infos;
    QStringList warnings;
};

Log &processLog()
{
    static Log log;
    return log;
}

QtMessageHandler g_pPreviousHandler = nullptr;

/// What the framework says of a platform without a screen, and of fonts that lack a writing.
bool isOfThePlatform(const QString &strMessage)
{
    return strMessage.startsWith("This plugin does not support") ||
           strMessage.trimmed().startsWith("OpenType support missing for");
}

void keepMessage(QtMsgType type, const QMessageLogContext &context, const QString &strMessage)
{
    {
        QMutexLocker locker(&processLog().mutex);
        if (type == QtInfoMsg)
            processLog().infos << strMessage;
        else if (type != QtDebugMsg && !isOfThePlatform(strMessage))
            processLog().warnings << strMessage;
    }
    // Info lines are many, and QtTest stops counting after 2,000 messages.
    if (type != QtInfoMsg && g_pPreviousHandler)
        g_pPreviousHandler(type, context, strMessage);
}
} // namespace

QString serviceHost()
{
    return service();
}

QList<QSslCertificate> extraCaCertificates()
{
    return extraCertificates();
}

void setServicePort(quint16 iPort)
{
    setServiceHost("localhost", iPort);
}

void setServiceHost(const QString &strHost, quint16 iPort)
{
    service() = strHost + ':' + QString::number(iPort);
}

void setExtraCaCertificates(const QList<QSslCertificate> &certificates)
{
    extraCertificates() = certificates;
}

QSslCertificate testCa()
{
    return QSslCertificate::fromPath(TEST_CERTIFICATES "/ca.pem").value(0);
}

void startLog()
{
    // QtTest puts a handler of its own in place when it starts, so this is done for every function.
    const QtMessageHandler pReplaced = qInstallMessageHandler(keepMessage);
    if (pReplaced != keepMessage)
        g_pPreviousHandler = pReplaced;

    QMutexLocker locker(&processLog().mutex);
    processLog().infos.clear();
    processLog().warnings.clear();
}

QStringList infoLog()
{
    QMutexLocker locker(&processLog().mutex);
    return processLog().infos;
}

void clearInfoLog()
{
    QMutexLocker locker(&processLog().mutex);
    processLog().infos.clear();
}

QStringList warningLog()
{
    QMutexLocker locker(&processLog().mutex);
    return processLog().warnings;
}

bool SeenBox::operator==(const SeenBox &other) const
{
    return title == other.title && text == other.text && icon == other.icon &&
           buttons == other.buttons && hasDefaultButton == other.hasDefaultButton &&
           textFormat == other.textFormat && parentName == other.parentName;
}

class BoxAnswers::Private : public QObject
{
    Q_OBJECT

public:
    QList<QMessageBox::StandardButton> m_buttons;
    QList<SeenBox> m_seen;
    std::function<void()> m_action;
    QTimer m_timer;

public slots:
    void look()
    {
        auto *pBox = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!pBox || !pBox->isVisible())
            return;
        m_timer.stop(); // the action may wait for something in an event loop of its own
        keep(pBox);
        if (m_action)
            std::exchange(m_action, nullptr)();
        QAbstractButton *pButton =
            m_buttons.isEmpty() ? nullptr : pBox->button(m_buttons.takeFirst());
        if (pButton)
            pButton->click();
        else
            pBox->reject();
        m_timer.start(BoxPollMs);
    }

private:
    void keep(QMessageBox *pBox)
    {
        SeenBox box;
        box.title = pBox->windowTitle();
        box.text = pBox->text();
        box.icon = pBox->icon();
        box.buttons = pBox->standardButtons();
        box.hasDefaultButton = pBox->defaultButton() != nullptr;
        box.textFormat = pBox->findChild<QLabel *>("qt_msgbox_label")->textFormat();
        box.parentName = pBox->parentWidget() ? pBox->parentWidget()->objectName() : QString();
        m_seen << box;
    }
};

BoxAnswers::BoxAnswers(const QList<QMessageBox::StandardButton> &buttons) : d(new Private)
{
    d->m_buttons = buttons;
    QObject::connect(&d->m_timer, SIGNAL(timeout()), d, SLOT(look()));
    d->m_timer.start(BoxPollMs);
}

BoxAnswers::~BoxAnswers()
{
    delete d;
}

const QList<SeenBox> &BoxAnswers::seen() const
{
    return d->m_seen;
}

void BoxAnswers::whileOpen(const std::function<void()> &action)
{
    d->m_action = action;
}

namespace {
/// The innermost window that other windows have to wait for.
QWidget *openWindow()
{
    QWidget *pPopup = QApplication::activePopupWidget();
    return pPopup ? pPopup : QApplication::activeModalWidget();
}
} // namespace

class WhileOpen::Private : public QObject
{
    Q_OBJECT

public:
    std::function<void(QWidget *)> m_action;
    const QWidget *m_pBefore = openWindow();
    QTimer m_timer;

public slots:
    void look()
    {
        QWidget *pOpen = openWindow();
        if (!pOpen || pOpen == m_pBefore)
            return;
        m_timer.stop(); // the action may wait for something in an event loop of its own
        std::exchange(m_action, nullptr)(pOpen);
    }
};

WhileOpen::WhileOpen(const std::function<void(QWidget *)> &action) : d(new Private)
{
    d->m_action = action;
    QObject::connect(&d->m_timer, SIGNAL(timeout()), d, SLOT(look()));
    d->m_timer.start(BoxPollMs);
}

WhileOpen::~WhileOpen()
{
    delete d;
}

bool WhileOpen::hasActed() const
{
    return !d->m_action;
}

QString failureInProcess(const QStringList &functions, const QMap<QString, QString> &variables,
                         QStringList command)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (auto it = variables.cbegin(); it != variables.cend(); ++it)
        environment.insert(it.key(), it.value());
    command << QCoreApplication::applicationFilePath() << functions;

    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(command.takeFirst(), command);
    const bool bEnded = process.waitForFinished(ProcessMs);
    const bool bPassed =
        bEnded && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    return bPassed ? QString() : "failed: " + QString::fromUtf8(process.readAll());
}

QString failureUnderLocale(const QString &strFunction, const QString &strLocale,
                           QMap<QString, QString> variables)
{
    variables["LC_ALL"] = strLocale;
    return failureInProcess({strFunction}, variables);
}

void prepareTestProcess()
{
    static const QTemporaryDir home;
    const QByteArray baHome = home.path().toLocal8Bit();
    qputenv("HOME", baHome);
    qputenv("XDG_CONFIG_HOME", baHome + "/config");
    qputenv("XDG_DATA_HOME", baHome + "/data");
    qputenv("XDG_RUNTIME_DIR", baHome);
    QCoreApplication::setOrganizationName("tests");
}

void keepScreenReachable()
{
    // On the heap: at the end of the process, when leaks are looked for, a plain static is gone.
    static auto *pScreens = new QList<const QScreen *>;
    pScreens->append(QGuiApplication::primaryScreen());
}

namespace {
/// The threads of network managers that the system still has. For the framework a thread has
/// finished before its thread-local objects are destroyed, so QThread::wait() does not tell.
int networkThreads()
{
    int iThreads = 0;
    const QStringList threads =
        QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &strThread : threads) {
        QFile name("/proc/self/task/" + strThread + "/comm");
        if (name.open(QIODevice::ReadOnly) && name.readAll().startsWith("QNetworkAccess"))
            ++iThreads;
    }
    return iThreads;
}
} // namespace

bool networkThreadsEnd(int iLimitMs)
{
    QElapsedTimer timer;
    timer.start();
    while (networkThreads() > 0) {
        if (timer.hasExpired(iLimitMs))
            return false;
        QThread::yieldCurrentThread();
    }
    return true;
}

int endTestProcess(int iResult)
{
    if (networkThreadsEnd(ProcessMs))
        return iResult;
    std::fputs("A network thread did not end.\n", stderr);
    return iResult == 0 ? 1 : iResult;
}

#include "windowtest.moc"
