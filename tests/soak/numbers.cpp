// What a process holds: heap, descriptors, threads, memory, cached pixmaps and replies.

#include "numbers.h"

#define Q_TEST_QPIXMAPCACHE // for totalUsed(), which the framework exports but does not declare

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPixmapCache>
#include <QUrl>

#include <malloc.h>
#include <unistd.h>

namespace {
qint64 heapInUse()
{
    const struct mallinfo2 info = mallinfo2(); // of all arenas
    return qint64(info.uordblks) + qint64(info.hblkhd);
}

int entries(const QString &strFolder)
{
    return QDir(strFolder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

qint64 residentBytes()
{
    QFile file("/proc/self/statm");
    file.open(QIODevice::ReadOnly);
    return file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}

/// The replies of the details stay the manager's children until the window closes; all others are
/// to be gone once their slot has run.
bool isKeptOnPurpose(const QNetworkReply *pReply)
{
    return pReply->url().path() == "/bsGetGroupTrackerInfo.php";
}

QList<QNetworkReply *> replies(const QNetworkAccessManager *pManager, bool bKeptOnPurpose)
{
    QList<QNetworkReply *> found;
    for (QObject *pChild : pManager->children()) {
        auto *pReply = qobject_cast<QNetworkReply *>(pChild);
        if (pReply && isKeptOnPurpose(pReply) == bKeptOnPurpose)
            found.append(pReply);
    }
    return found;
}
} // namespace

QJsonObject processNumbers(const QNetworkAccessManager *pManager)
{
    const qint64 iHeap = heapInUse(); // first: what follows allocates
    return {{"heap", iHeap},
            {"rss", residentBytes()},
            {"descriptors", entries("/proc/self/fd")},
            {"threads", entries("/proc/self/task")},
            {"pixmap_cache_kb", QPixmapCache::totalUsed()},
            {"kept_replies", replies(pManager, true).size()},
            {"other_replies", replies(pManager, false).size()}};
}

void freeKeptReplies(const QNetworkAccessManager *pManager)
{
    qDeleteAll(replies(pManager, true));
}
