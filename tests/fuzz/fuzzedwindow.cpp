// The window without screen, network and operator.

#include "fuzzedwindow.h"

#include "target.h"

#include "service/extraca.h"
#include "service/servicehost.h"

#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QList>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QScreen>
#include <QSslCertificate>
#include <QStandardItemModel>
#include <QTemporaryDir>
#include <QTextDocument>
#include <QTreeView>

#include <algorithm>
#include <cstdio>

namespace {
/// A reply whose body is there from the beginning and which finishes when it is told to.
class ReadyReply : public QNetworkReply
{
    Q_OBJECT

public:
    explicit ReadyReply(const QByteArray &baBody) : m_baBody(baBody)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        setFinished(true);
    }
    void abort() override {}
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override
    {
        return m_baBody.size() - m_iRead + QNetworkReply::bytesAvailable();
    }

protected:
    qint64 readData(char *pData, qint64 iMaxSize) override
    {
        const qint64 iSize = std::min<qint64>(iMaxSize, m_baBody.size() - m_iRead);
        std::copy_n(m_baBody.constData() + m_iRead, iSize, pData);
        m_iRead += static_cast<int>(iSize);
        return iSize > 0 || iMaxSize == 0 ? iSize : -1;
    }

private:
    QByteArray m_baBody;
    int m_iRead = 0;
};

/// Makes every request to the service end at once, as without a network, but without a name being
/// looked up or a connection being made: no proxy of this kind can carry it. Keeps its address.
class NoService : public QNetworkProxyFactory
{
public:
    explicit NoService(QList<QUrl> *pRequests) : m_pRequests(pRequests) {}

    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override
    {
        if (query.url().scheme() != "https")
            return {QNetworkProxy(QNetworkProxy::NoProxy)};
        m_pRequests->append(query.url());
        return {QNetworkProxy(QNetworkProxy::FtpCachingProxy)};
    }

private:
    QList<QUrl> *m_pRequests;
};

void endAtWarnings(QtMsgType type, const QMessageLogContext &, const QString &strMessage)
{
    // The offscreen platform says that it lacks this and that.
    if (type <= QtDebugMsg || type == QtInfoMsg || strMessage.startsWith("This plugin does not"))
        return;
    std::fprintf(stderr, "%s\n", qPrintable(strMessage));
    mustHold(false, "the log has no warnings");
}
} // namespace

QString serviceHost()
{
    return QStringLiteral("service.invalid");
}

QList<QSslCertificate> extraCaCertificates()
{
    return {};
}

void prepareWindows(int &iCount, char **pArguments)
{
    // In memory, where there is such a folder: every login writes the settings through to the disk.
    static const QTemporaryDir home(QFileInfo("/dev/shm").isWritable()
                                        ? QString("/dev/shm/veltrano-fuzz-XXXXXX")
                                        : QDir::tempPath() + "/veltrano-fuzz-XXXXXX");
    const QByteArray baHome = home.path().toLocal8Bit();
    qputenv("HOME", baHome);
    qputenv("XDG_CONFIG_HOME", baHome + "/config");
    qputenv("XDG_DATA_HOME", baHome + "/data");
    qputenv("XDG_RUNTIME_DIR", baHome);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Replies are logged whole, and what is written here is thrown away.
    qInstallMessageHandler(endAtWarnings);
    QCoreApplication::setOrganizationName("tests");
    // On the heap: where the end cannot be told, it must outlive the framework's own statics.
    new QApplication(iCount, pArguments);
    // The platform never deletes its screen; so the leak sanitizer sees that it is not lost.
    static auto *pScreens = new QList<const QScreen *>;
    pScreens->append(QGuiApplication::primaryScreen());
}

void endWindows()
{
    delete qApp;
}

DialogAnswers::DialogAnswers()
{
    qApp->installEventFilter(this);
}

void DialogAnswers::expect(Answer answer)
{
    m_answer = answer;
    m_seen.clear();
}

QString DialogAnswers::edited(const QString &strName)
{
    return strName + " & crew";
}

bool DialogAnswers::eventFilter(QObject *pWatched, QEvent *pEvent)
{
    auto *pDialog = pEvent->type() == QEvent::Show ? qobject_cast<QDialog *>(pWatched) : nullptr;
    // Its loop begins when it is shown.
    if (pDialog)
        QMetaObject::invokeMethod(
            pDialog, [=] { answer(pDialog); }, Qt::QueuedConnection);
    return false;
}

void DialogAnswers::answer(QDialog *pDialog)
{
    Seen seen;
    seen.title = pDialog->windowTitle();
    if (auto *pBox = qobject_cast<QMessageBox *>(pDialog)) {
        seen.bBox = true;
        seen.text = pBox->text();
        const auto format = pBox->findChild<QLabel *>("qt_msgbox_label")->textFormat();
        seen.bPlain = format == Qt::PlainText || !Qt::mightBeRichText(seen.text);
    } else if (auto *pName = pDialog->findChild<QLineEdit *>("trackerNameLineEdit")) {
        seen.text = pName->text();
        if (m_answer == AcceptEdited)
            pName->setText(edited(seen.text));
    }
    m_seen << seen;
    if (m_answer == Cancel)
        pDialog->reject();
    else
        pDialog->accept();
}

FuzzedWindow::FuzzedWindow() : m_pWindow(new MainWindow)
{
    m_pModel = qobject_cast<QStandardItemModel *>(view()->model());
    network()->setProxyFactory(new NoService(&m_requests)); // the manager's from here on
}

FuzzedWindow::~FuzzedWindow()
{
    m_pWindow.reset();
    delete m_pModel; // the window leaves it to the end of the process
}

QNetworkAccessManager *FuzzedWindow::network() const
{
    return m_pWindow->findChild<QNetworkAccessManager *>();
}

QTreeView *FuzzedWindow::view() const
{
    return widget<QTreeView>("treeView");
}

QStandardItemModel *FuzzedWindow::model() const
{
    return m_pModel.data();
}

QComboBox *FuzzedWindow::groups() const
{
    return widget<QComboBox>("groupComboBox");
}

void FuzzedWindow::logOut()
{
    deliver(R"({"rcode":-99})", SLOT(onGetGroupsResult()), true);
}

void FuzzedWindow::fill()
{
    widget<QLineEdit>("passwordLineEdit")->setText("secret");
    deliver(R"({"id":1})", SLOT(onLoginResult()), true);
    deliver(R"({"groups":[{"id":"12","group_name":"Alpine Cup"},{"id":"27"}]})",
            SLOT(onGetGroupsResult()), true);
    deliver(R"({"balance":"1","trackers":[{"deviceSn":"2310400"},{"deviceSn":"2310484",)"
            R"("activations":[{"id":"28"}]},{"deviceSn":"2310544","state":null}]})",
            SLOT(onGetTrackersResult()), true);
}

void FuzzedWindow::paint()
{
    m_pWindow->show();
    QCoreApplication::processEvents();
    m_pWindow->hide();
}

QList<QUrl> FuzzedWindow::deliver(const QByteArray &baBody, const char *pSlot, bool bDeletesReply)
{
    QPointer<QNetworkReply> pReply = new ReadyReply(baBody);
    mustHold(QObject::connect(pReply, SIGNAL(finished()), m_pWindow.data(), pSlot),
                              "the window has the slot");
    emit pReply->finished();
    mustHold(pReply.isNull() == bDeletesReply, "a reply is deleted by its own slot, or not at all");
    delete pReply;
    giveUpReplies();
    return takeRequests();
}

bool FuzzedWindow::isIdle() const
{
    const QList<QNetworkReply *> replies = network()->findChildren<QNetworkReply *>();
    return std::all_of(replies.begin(), replies.end(),
                       [](const QNetworkReply *pReply) { return pReply->isFinished(); });
}

void FuzzedWindow::giveUpReplies()
{
    const QList<QNetworkReply *> replies = network()->findChildren<QNetworkReply *>();
    for (QNetworkReply *pReply : replies) {
        mustHold(pReply->operation() == QNetworkAccessManager::GetOperation,
                 "what follows a reply is a GET");
        delete pReply;
    }
}

#include "fuzzedwindow.moc"
